#pragma once

#include "authorize/switchboard/IExternlMediaTransfer.h"

#include <cstddef>
#include <functional>
#include <mutex>
#include <ostream>
#include <string>
#include <vector>

/// One call of the host's function; a null text reads "(null)".
struct HostEvent {
  KBL::IExternlMediaTransfer* transfer;
  int event;
  int value;
  std::string text;

  friend std::ostream& operator<<(std::ostream& out, const HostEvent& told) {
    return out << told.event << " " << told.value << " '" << told.text << "'";
  }
};

/// What a host hears of its uploads. Given as the context of command 15, with `record` as the function of
/// command 1.
class EventLog {
 public:
  static int record(void* context, KBL::IExternlMediaTransfer* transfer, int event, int value,
                    const char* text);

  [[nodiscard]] std::vector<HostEvent> events() const;
  [[nodiscard]] std::size_t count(int event) const;
  /// Until so many events of this kind have come; false when they did not within the generous limit.
  [[nodiscard]] bool waitFor(int event, std::size_t times = 1) const;

  /// Called on the worker for each event, after it was kept and without a lock. Set before an upload starts.
  std::function<void(const HostEvent&)> onEvent = [](const HostEvent&) {};

 private:
  mutable std::mutex mutex_;
  std::vector<HostEvent> events_;
};
