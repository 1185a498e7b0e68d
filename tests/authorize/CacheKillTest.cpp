// A process that is killed while it saves leaves the old list or the new one.

#include "authorize/CacheFile.h"
#include "foundation/BsNet/cipher.h"
#include "support/Seed.h"
#include "support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#if !defined(_WIN32)

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <thread>

namespace {
/// A child that saves; it has saved once when the constructor returns.
class SavingChild {
 public:
  SavingChild(std::string keys, std::string folder) {
    int ends[2] = {-1, -1};
    if (pipe(ends) != 0) return;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
    posix_spawn_file_actions_addclose(&actions, ends[0]);
    std::string program = KBL_SAVING_HOST;
    char* const arguments[] = {program.data(), keys.data(), folder.data(), nullptr};
    started_ = posix_spawn(&process_, program.c_str(), &actions, nullptr, arguments, environ) == 0;
    posix_spawn_file_actions_destroy(&actions);
    close(ends[1]);
    char letter = 0;
    ready_ = started_ && read(ends[0], &letter, 1) == 1;
    close(ends[0]);
  }
  ~SavingChild() { kill(); }
  SavingChild(const SavingChild&) = delete;
  SavingChild& operator=(const SavingChild&) = delete;

  [[nodiscard]] bool ready() const { return ready_; }
  void kill() {
    if (!started_) return;
    started_ = false;
    ::kill(process_, SIGKILL);
    waitpid(process_, nullptr, 0);
  }

 private:
  pid_t process_ = -1;
  bool started_ = false;
  bool ready_ = false;
};
}  // namespace

TEST(CacheKill, AKilledSaveLeavesAWholeListAndTheNextSaveWorks) {
  const TemporaryDirectory directory;
  KBL::setKeyStore(KBL::makeFileKeyStore(directory.file("keys")));
  const std::string path = KBL::cacheFilePath(directory.path().string(), KBL::ema_youtube);
  auto generator = seededGenerator();
  for (int round = 0; round < 12; ++round) {
    SavingChild child(directory.file("keys"), directory.path().string());
    ASSERT_TRUE(child.ready());
    // The instant of the death is what varies.
    std::this_thread::sleep_for(std::chrono::microseconds(generator() % 20'000));
    child.kill();
    KBL::CacheEntries list;
    ASSERT_TRUE(KBL::loadCacheFile(path, list));
    ASSERT_EQ(list.size(), 20U);
    for (const auto& record : list) EXPECT_EQ(record.userNickName, list.front().userNickName);
    ASSERT_TRUE(KBL::saveCacheFile(path, list));
  }
  KBL::setKeyStore(nullptr);
}

#endif
