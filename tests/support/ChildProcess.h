#pragma once

#include <sys/types.h>

#include <csignal>
#include <string>
#include <vector>

/// A program that the test started, killed by its process number at the latest with this object.
class ChildProcess {
 public:
  /// `command` starts with the program's path. Its standard output is read here.
  explicit ChildProcess(const std::vector<std::string>& command);
  /// Its output and its errors go to the end of the file `log`.
  ChildProcess(const std::vector<std::string>& command, const std::string& log);
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  /// Blocks until a whole line is there; false when the output has ended.
  bool readLine(std::string& line);
  void signal(int number) const;
  void kill() const { signal(SIGKILL); }
  /// Waits for its end: the exit code, or minus the signal that ended it.
  int wait();

 private:
  ChildProcess() = default;

  pid_t process_ = -1;
  int output_ = -1;
  std::string pending_;
};
