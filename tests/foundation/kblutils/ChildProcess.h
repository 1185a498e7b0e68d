#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

/// A program that the test started: its standard output is read here, and it is killed at the latest with
/// this object.
class ChildProcess {
 public:
  /// `arguments` start with the program's path.
  explicit ChildProcess(const std::vector<std::string>& arguments);
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  /// Blocks until a whole line is there; false when the output has ended.
  bool readLine(std::string& line);
  void kill() const;
  /// Waits for the end: the exit code, or minus the signal that ended it.
  int wait();

 private:
  pid_t process_ = -1;
  int output_ = -1;
  std::string pending_;
};
