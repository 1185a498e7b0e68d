#include "support/ChildProcess.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <stdexcept>

static_assert(ChildProcess::killed == -SIGKILL);

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

}  // namespace

struct ChildProcess::Process {
  pid_t number = -1;
  int output = -1;

  ~Process() {
    if (output >= 0) (void)::close(output);
  }

  void start(const std::vector<std::string>& command, FileActions& actions) {
    std::vector<char*> words;
    for (const std::string& word : command) words.push_back(const_cast<char*>(word.c_str()));
    words.push_back(nullptr);
    if (::posix_spawn(&number, words[0], actions.get(), nullptr, words.data(), environ) == 0) return;
    number = -1;
    throw std::runtime_error("cannot start " + command[0]);
  }
};

ChildProcess::ChildProcess(const std::vector<std::string>& command) : process_(std::make_unique<Process>()) {
  std::array<int, 2> ends{};
  if (::pipe2(ends.data(), O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
  process_->output = ends[0];
  const std::unique_ptr<int, void (*)(int*)> writing(&ends[1], [](int* end) { (void)::close(*end); });
  FileActions actions;
  ::posix_spawn_file_actions_adddup2(actions.get(), ends[1], STDOUT_FILENO);
  process_->start(command, actions);
}

ChildProcess::ChildProcess(const std::vector<std::string>& command, const std::string& log)
    : process_(std::make_unique<Process>()) {
  FileActions actions;
  ::posix_spawn_file_actions_addopen(actions.get(), STDOUT_FILENO, log.c_str(), O_WRONLY | O_CREAT | O_APPEND,
                                     0600);
  ::posix_spawn_file_actions_adddup2(actions.get(), STDOUT_FILENO, STDERR_FILENO);
  process_->start(command, actions);
}

ChildProcess::~ChildProcess() {
  if (process_->number <= 0) return;
  kill();
  (void)wait();
}

std::string ChildProcess::readSome() {
  std::string bytes(4096, '\0');
  const ssize_t count = ::read(process_->output, bytes.data(), bytes.size());
  bytes.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
  return bytes;
}

void ChildProcess::interrupt() const {
  (void)::kill(process_->number, SIGINT);
}

void ChildProcess::terminate() const {
  (void)::kill(process_->number, SIGTERM);
}

void ChildProcess::kill() const {
  (void)::kill(process_->number, SIGKILL);
}

int ChildProcess::wait() {
  int status = 0;
  while (::waitpid(process_->number, &status, 0) < 0 && errno == EINTR) {
  }
  process_->number = -1;
  return WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status);
}
