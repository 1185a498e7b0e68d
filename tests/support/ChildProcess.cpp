#include "support/ChildProcess.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <stdexcept>

namespace {

/// What becomes of a new process's files.
class FileActions {
 public:
  FileActions() { ::posix_spawn_file_actions_init(&actions_); }
  ~FileActions() { ::posix_spawn_file_actions_destroy(&actions_); }
  FileActions(const FileActions&) = delete;
  FileActions& operator=(const FileActions&) = delete;

  [[nodiscard]] posix_spawn_file_actions_t* get() { return &actions_; }

 private:
  posix_spawn_file_actions_t actions_{};
};

/// The number of the new process; -1 when it cannot be started.
pid_t start(const std::vector<std::string>& command, FileActions& actions) {
  std::vector<char*> words;
  for (const std::string& word : command) words.push_back(const_cast<char*>(word.c_str()));
  words.push_back(nullptr);
  pid_t process = -1;
  return ::posix_spawn(&process, words[0], actions.get(), nullptr, words.data(), environ) == 0 ? process : -1;
}

}  // namespace

ChildProcess::ChildProcess(const std::vector<std::string>& command) : ChildProcess() {
  std::array<int, 2> ends{};
  if (::pipe2(ends.data(), O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
  output_ = ends[0];
  FileActions actions;
  ::posix_spawn_file_actions_adddup2(actions.get(), ends[1], STDOUT_FILENO);
  process_ = start(command, actions);
  (void)::close(ends[1]);
  if (process_ < 0) throw std::runtime_error("cannot start " + command[0]);
}

ChildProcess::ChildProcess(const std::vector<std::string>& command, const std::string& log) : ChildProcess() {
  FileActions actions;
  ::posix_spawn_file_actions_addopen(actions.get(), STDOUT_FILENO, log.c_str(), O_WRONLY | O_CREAT | O_APPEND,
                                     0600);
  ::posix_spawn_file_actions_adddup2(actions.get(), STDOUT_FILENO, STDERR_FILENO);
  process_ = start(command, actions);
  if (process_ < 0) throw std::runtime_error("cannot start " + command[0]);
}

ChildProcess::~ChildProcess() {
  if (process_ > 0) {
    kill();
    (void)wait();
  }
  if (output_ >= 0) (void)::close(output_);
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

void ChildProcess::signal(int number) const {
  (void)::kill(process_, number);
}

int ChildProcess::wait() {
  int status = 0;
  while (::waitpid(process_, &status, 0) < 0 && errno == EINTR) {
  }
  process_ = -1;
  return WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status);
}
