#pragma once

#include <memory>
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
  /// As a user does it on a keyboard: Ctrl-C, or Ctrl-Break on Windows, where no other key reaches one
  /// program.
  void interrupt() const;
  /// As a system that wants it to end. Windows has no other word for that than `interrupt`.
  void terminate() const;
  void kill() const;
  /// Waits for its end: the exit code, or minus the signal that ended it.
  int wait();

  /// What `wait` tells of one that was killed, on Windows as well.
  static constexpr int killed = -9;

 private:
  struct Process;

  /// What the output has, at least a byte; nothing at its end.
  [[nodiscard]] std::string readSome();

  std::unique_ptr<Process> process_;
  std::string pending_;
};
