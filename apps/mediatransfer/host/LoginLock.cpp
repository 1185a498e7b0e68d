#include "host/LoginLock.h"

#include "host/Interrupt.h"
#include "options/Failure.h"

#include <thread>

namespace host {

void LoginLock::take(const std::string& path, const std::function<void()>& onWait,
                     std::chrono::milliseconds limit) {
  using Clock = std::chrono::steady_clock;
  // No system waits for such a lock with a limit, so the wait goes in slices that are too short to be felt.
  constexpr std::chrono::milliseconds slice(10);
  constexpr std::chrono::seconds moment(2);
  const Clock::time_point begin = Clock::now();
  bool isTold = false;
  for (;;) {
    switch (lock_.tryTake(path)) {
      case FileLock::State::taken:
        return;
      case FileLock::State::unusable:
        throw Failure(Cause::file, "the lock file '" + path +
                                       "' cannot be made or locked; check the folder's rights, or give "
                                       "--cache-dir DIR");
      case FileLock::State::busy:
        break;
    }
    if (interrupted()) throw Failure(Exit::interrupted, "stopped while another command used the login");
    if (Clock::now() - begin >= limit) {
      throw Failure(Cause::call, "another command has been using the login for " +
                                     std::to_string(limit / std::chrono::seconds(1)) +
                                     " s; end it, or run this one again later");
    }
    if (!isTold && Clock::now() - begin >= moment) {
      isTold = true;
      onWait();
    }
    std::this_thread::sleep_for(slice);
  }
}

}  // namespace host
