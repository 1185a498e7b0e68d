#pragma once

#include "support/Recorder.h"
#include "support/WaitUntil.h"
#include <ExternlMediaTransfer/IExternlMediaTransfer.h>

#include <algorithm>
#include <cstddef>
#include <ostream>
#include <string>

/// One call of the host's function; a null text reads "(null)".
struct UploadEvent {
  KBL::IExternlMediaTransfer* transfer;
  int event;
  int value;
  std::string text;

  bool operator==(const UploadEvent&) const = default;
  friend std::ostream& operator<<(std::ostream& out, const UploadEvent& told) {
    return out << told.event << " " << told.value << " '" << told.text << "'";
  }
};

/// What a host hears of its uploads. Given as the context of a transfer, with `record` as its function.
class EventLog : public Recorder<UploadEvent> {
 public:
  static int record(void* context, KBL::IExternlMediaTransfer* transfer, int event, int value,
                    const char* text) {
    static_cast<EventLog*>(context)->keep({transfer, event, value, text == nullptr ? "(null)" : text});
    return 1;
  }

  [[nodiscard]] std::size_t count(int event) const {
    const auto told = events();
    return static_cast<std::size_t>(
        std::count_if(told.begin(), told.end(), [&](const UploadEvent& one) { return one.event == event; }));
  }
  /// Until so many events of this kind have come; false when they did not within the generous limit.
  [[nodiscard]] bool waitFor(int event, std::size_t times = 1) const {
    return waitUntil([&] { return count(event) >= times; });
  }
};
