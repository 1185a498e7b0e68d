#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

/// A program that runs beside the test; ended, by its process number, with its owner.
class ChildProcess {
 public:
  /// Output goes to the file `log`.
  ChildProcess(const std::vector<std::string>& command, const std::string& log);
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  [[nodiscard]] bool isRunning();
  /// Waits for its end; the exit code, or minus the signal that ended it.
  [[nodiscard]] int wait();

 private:
  pid_t process_ = -1;
};

/// A port of 127.0.0.1 on which nobody listened a moment ago.
[[nodiscard]] int freePort();
