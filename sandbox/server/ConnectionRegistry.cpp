#include "sandbox/server/ConnectionRegistry.h"

namespace sandbox {

std::uint64_t ConnectionRegistry::add(socket::Handle handle) {
  const std::lock_guard lock(mutex_);
  if (ending_) return 0;
  handles_.insert(handle);
  return ++count_;
}

void ConnectionRegistry::remove(socket::Handle handle) {
  const std::lock_guard lock(mutex_);
  handles_.erase(handle);
}

void ConnectionRegistry::endAll() {
  const std::lock_guard lock(mutex_);
  ending_ = true;
  for (const socket::Handle handle : handles_) socket::shutDown(handle);
}

void ConnectionRegistry::allow() {
  const std::lock_guard lock(mutex_);
  ending_ = false;
}

std::size_t ConnectionRegistry::total() const {
  const std::lock_guard lock(mutex_);
  return static_cast<std::size_t>(count_);
}

std::size_t ConnectionRegistry::open() const {
  const std::lock_guard lock(mutex_);
  return handles_.size();
}

}  // namespace sandbox
