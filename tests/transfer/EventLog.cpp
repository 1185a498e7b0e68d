#include "transfer/EventLog.h"

#include "support/WaitUntil.h"

#include <algorithm>

int EventLog::record(void* context, KBL::IExternlMediaTransfer* transfer, int event, int value,
                     const char* text) {
  auto& log = *static_cast<EventLog*>(context);
  const HostEvent heard{transfer, event, value, text == nullptr ? "(null)" : text};
  {
    const std::lock_guard lock(log.mutex_);
    log.events_.push_back(heard);
  }
  log.onEvent(heard);
  return 1;
}

std::vector<HostEvent> EventLog::events() const {
  const std::lock_guard lock(mutex_);
  return events_;
}

std::size_t EventLog::count(int event) const {
  const std::lock_guard lock(mutex_);
  return static_cast<std::size_t>(std::count_if(events_.begin(), events_.end(),
                                                [&](const HostEvent& one) { return one.event == event; }));
}

bool EventLog::waitFor(int event, std::size_t times) const {
  return waitUntil([&] { return count(event) >= times; });
}
