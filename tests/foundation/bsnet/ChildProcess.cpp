#include "foundation/bsnet/ChildProcess.h"

#include "foundation/bsnet/RawServer.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

ChildProcess::ChildProcess(const std::vector<std::string>& command, const std::string& log) {
  std::vector<char*> arguments;
  for (const std::string& word : command) arguments.push_back(const_cast<char*>(word.c_str()));
  arguments.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  ::posix_spawn_file_actions_init(&actions);
  ::posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, log.c_str(), O_WRONLY | O_CREAT | O_APPEND,
                                     0600);
  ::posix_spawn_file_actions_adddup2(&actions, STDOUT_FILENO, STDERR_FILENO);
  if (::posix_spawn(&process_, arguments[0], &actions, nullptr, arguments.data(), environ) != 0)
    process_ = -1;
  ::posix_spawn_file_actions_destroy(&actions);
}

ChildProcess::~ChildProcess() {
  if (!isRunning()) return;
  ::kill(process_, SIGKILL);
  ::waitpid(process_, nullptr, 0);
}

bool ChildProcess::isRunning() {
  if (process_ > 0 && ::waitpid(process_, nullptr, WNOHANG) == process_) process_ = -1;
  return process_ > 0;
}

int ChildProcess::wait() {
  int status = 0;
  if (process_ < 0 || ::waitpid(process_, &status, 0) != process_) return -1;
  process_ = -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

int freePort() {
  const RawServer passing([](RawConnection&) {});
  return passing.port();
}
