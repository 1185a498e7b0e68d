#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <utility>

namespace KBL::host {

/// What transfers have as their context: a number in place of a pointer, so that a call which began just
/// ahead of the session's end finds nothing, and never what has gone. Any thread.
template <class Session>
class Sessions {
 public:
  [[nodiscard]] static void* add(std::shared_ptr<Session> session) {
    Sessions& all = instance();
    const std::lock_guard<std::mutex> lock(all.mutex_);
    const std::uintptr_t number = ++all.last_;
    all.sessions_.emplace(number, std::move(session));
    return reinterpret_cast<void*>(number);
  }
  [[nodiscard]] static std::shared_ptr<Session> find(void* context) {
    Sessions& all = instance();
    const std::lock_guard<std::mutex> lock(all.mutex_);
    const auto found = all.sessions_.find(reinterpret_cast<std::uintptr_t>(context));
    return found == all.sessions_.end() ? nullptr : found->second;
  }
  static void remove(void* context) {
    std::shared_ptr<Session> ended;  // goes behind the lock
    Sessions& all = instance();
    const std::lock_guard<std::mutex> lock(all.mutex_);
    const auto found = all.sessions_.find(reinterpret_cast<std::uintptr_t>(context));
    if (found == all.sessions_.end()) return;
    ended = std::move(found->second);
    all.sessions_.erase(found);
  }

 private:
  // Threads of the library may ask while the process ends.
  static Sessions& instance() {
    static Sessions& all = *new Sessions;
    return all;
  }

  std::mutex mutex_;
  std::map<std::uintptr_t, std::shared_ptr<Session>> sessions_;
  std::uintptr_t last_ = 0;
};

}  // namespace KBL::host
