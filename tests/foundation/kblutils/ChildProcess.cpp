#include "ChildProcess.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <stdexcept>

ChildProcess::ChildProcess(const std::vector<std::string>& arguments) {
  std::array<int, 2> ends{};
  if (::pipe2(ends.data(), O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
  std::vector<char*> pointers;
  for (const std::string& argument : arguments) pointers.push_back(const_cast<char*>(argument.c_str()));
  pointers.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
  const int failed = ::posix_spawn(&process_, pointers[0], &actions, nullptr, pointers.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  (void)::close(ends[1]);
  output_ = ends[0];
  if (failed != 0) {
    (void)::close(output_);
    throw std::runtime_error("cannot start " + arguments[0]);
  }
}

ChildProcess::~ChildProcess() {
  if (process_ > 0) {
    kill();
    (void)wait();
  }
  (void)::close(output_);
}

bool ChildProcess::readLine(std::string& line) {
  std::array<char, 4096> buffer{};
  std::size_t end = pending_.find('\n');
  while (end == std::string::npos) {
    const ssize_t count = ::read(output_, buffer.data(), buffer.size());
    if (count <= 0) return false;
    pending_.append(buffer.data(), static_cast<std::size_t>(count));
    end = pending_.find('\n');
  }
  line = pending_.substr(0, end);
  pending_.erase(0, end + 1);
  return true;
}

void ChildProcess::kill() const {
  (void)::kill(process_, SIGKILL);
}

int ChildProcess::wait() {
  int status = 0;
  while (::waitpid(process_, &status, 0) < 0 && errno == EINTR) {
  }
  process_ = -1;
  return WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status);
}
