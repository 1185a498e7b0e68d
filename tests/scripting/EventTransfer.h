#pragma once

#include "boundary/ExternlMediaTransfer.h"
#include "boundary/records/HostRecords.h"
#include "foundation/object/RefPtr.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>

/// What the host's function does with an event; its text, or the number of a progress event.
inline auto& onEvent = *new std::function<void(int event, const std::string& text)>;

inline int hostFunction(void*, KBL::IExternlMediaTransfer*, int event, int value, const char* text) {
  if (onEvent) onEvent(event, text == nullptr ? std::to_string(value) : text);
  return 0;
}

inline KBL::RefPtr<KBL::IExternlMediaTransfer> makeTransfer() {
  auto transfer = KBL::adoptRef(createEMTUpTransfer(0));
  const KBL::TransferCallback callback = hostFunction;
  KBL::hostTransferRecord record{};
  EXPECT_EQ(transfer->Command(1, callback), 0);
  EXPECT_EQ(transfer->Command(0, &record), 0);
  return transfer;
}
