#pragma once

#include <httplib.h>

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace sandbox {

/// As many threads as there are connections at once, since a connection that is kept alive holds its thread.
/// Idle threads serve the next connection.
class ConnectionThreads final : public httplib::TaskQueue {
 public:
  void enqueue(std::function<void()> task) override;
  /// Runs what is queued and joins all threads.
  void shutdown() override;

 private:
  void run();

  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<std::function<void()>> tasks_;
  std::vector<std::thread> threads_;
  std::size_t idle_ = 0;
  bool ending_ = false;
};

}  // namespace sandbox
