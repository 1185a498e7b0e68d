#include "sandbox/server/ConnectionThreads.h"

#include "sandbox/system/Socket.h"

#include <system_error>
#include <utility>

namespace sandbox {

void ConnectionThreads::enqueue(std::function<void()> task) {
  const std::lock_guard lock(mutex_);
  tasks_.push_back(std::move(task));
  if (tasks_.size() > idle_) {
    try {
      threads_.emplace_back([this] { run(); });
    } catch (const std::system_error&) {
      // No more threads to be had: the connection waits for one that comes free.
    }
  }
  changed_.notify_one();
}

void ConnectionThreads::shutdown() {
  std::vector<std::thread> threads;
  {
    const std::lock_guard lock(mutex_);
    ending_ = true;
    threads.swap(threads_);
    changed_.notify_all();
  }
  for (std::thread& thread : threads) thread.join();
}

void ConnectionThreads::run() {
  socket::blockBrokenPipeSignals();
  std::unique_lock lock(mutex_);
  while (true) {
    ++idle_;
    changed_.wait(lock, [this] { return ending_ || !tasks_.empty(); });
    --idle_;
    if (tasks_.empty()) return;
    const std::function<void()> task = std::move(tasks_.front());
    tasks_.pop_front();
    lock.unlock();
    task();
    lock.lock();
  }
}

}  // namespace sandbox
