#pragma once

#include "support/Flag.h"
#include <ExternlMediaTransfer/ExternlMediaTransfer.h>
#include <ExternlMediaTransfer/HostRecords.h>
#include <ExternlMediaTransfer/TransferNumbers.h>
#include <KblUtils/RefPtr.h>

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <utility>

/// What the host's function does with an event; its text, or the number of a progress event.
inline auto& onEvent = *new std::function<void(int event, const std::string& text)>;

inline int hostFunction(void*, KBL::IExternlMediaTransfer*, int event, int value, const char* text) {
  if (onEvent) onEvent(event, text == nullptr ? std::to_string(value) : text);
  return 0;
}

/// From now on keeps the events inside the host's function until they are let go. Lives until none is kept.
class KeptEvents {
 public:
  explicit KeptEvents(std::function<void()> afterwards = {}) {
    onEvent = [this, after = std::move(afterwards)](int, const std::string&) {
      inside_.raise();
      EXPECT_TRUE(over_.wait());
      if (after) after();
    };
  }

  [[nodiscard]] bool waitForOne() { return inside_.wait(); }
  void letGo() { over_.raise(); }

 private:
  Flag inside_;
  Flag over_;
};

inline KBL::RefPtr<KBL::IExternlMediaTransfer> makeTransfer() {
  auto transfer = KBL::adoptRef(createEMTUpTransfer(KBL::transferFacebook));
  const KBL::TransferCallback callback = hostFunction;
  KBL::hostTransferRecord record{};
  EXPECT_EQ(transfer->Command(KBL::commandSetCallback, callback), 0);
  EXPECT_EQ(transfer->Command(KBL::commandSetRecord, &record), 0);
  return transfer;
}
