// Rights of files, and processes that share a key.
#include "support/ForkedProcesses.h"
#include "support/RecordingLogger.h"
#include "support/TemporaryDirectory.h"
#include "support/WaitUntil.h"
#include <BsNet/cipher.h>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace {

std::string keyIn(const std::string& directory) {
  const auto key = KBL::makeFileKeyStore(directory)->loadOrCreateKey();
  return {key.begin(), key.end()};
}

mode_t modeOf(const std::string& path) {
  struct stat status {};
  return ::stat(path.c_str(), &status) == 0 ? status.st_mode & 07777 : 0;
}

/// Whoever opened it to read would wait for somebody who writes.
TEST(KeyStore, APipeInPlaceOfTheFileIsNoKeyAndIsLeftAlone) {
  const TemporaryDirectory place;
  ASSERT_EQ(::mkfifo(place.file("cipher.key").c_str(), 0600), 0);

  EXPECT_EQ(keyIn(place.path()), "");

  EXPECT_TRUE(std::filesystem::is_fifo(place.file("cipher.key")));
}

TEST(KeyStore, FileAndDirectoryAreForTheirOwnerOnly) {
  const TemporaryDirectory place;
  const mode_t former = ::umask(0);

  (void)keyIn(place.file("a/b"));

  ::umask(former);
  EXPECT_EQ(modeOf(place.file("a")), 0700U);
  EXPECT_EQ(modeOf(place.file("a/b")), 0700U);
  EXPECT_EQ(modeOf(place.file("a/b/cipher.key")), 0600U);
}

TEST(KeyStore, FileThatOthersCouldReadIsClosedToThem) {
  const TemporaryDirectory place;
  const std::string key = keyIn(place.file("keys"));
  ::chmod(place.file("keys/cipher.key").c_str(), 0644);

  EXPECT_EQ(keyIn(place.file("keys")), key);
  EXPECT_EQ(modeOf(place.file("keys/cipher.key")), 0600U);
}

TEST(KeyStore, ProcessesThatMakeTheKeyAtOnceEndWithOne) {
  constexpr int processes = 6;
  for (int round = 0; round < 10; ++round) {
    const TemporaryDirectory place;
    const bool startsDamaged = round % 2 == 1;
    if (startsDamaged) {
      (void)keyIn(place.file("keys"));
      place.write("keys/cipher.key", "damaged");
    }

    const auto codes = inForkedProcesses(processes, [&](int index) {
      const std::string key = keyIn(place.file("keys"));
      place.write("seen" + std::to_string(index), key);
      return key.size() == 64 ? 0 : 1;
    });

    EXPECT_EQ(codes, std::vector<int>(processes, 0));
    std::set<std::string> keys;
    for (int i = 0; i < processes; ++i) keys.insert(place.read("seen" + std::to_string(i)));
    EXPECT_EQ(keys.size(), 1U) << "round " << round;
    EXPECT_EQ(*keys.begin(), keyIn(place.file("keys")));
  }
}

/// The lock that keeps other processes from making the key.
class KeyLock {
 public:
  explicit KeyLock(const std::string& path)
      : descriptor_(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600)),
        isHeld_(::flock(descriptor_, LOCK_EX | LOCK_NB) == 0) {}
  ~KeyLock() { ::close(descriptor_); }
  KeyLock(const KeyLock&) = delete;
  KeyLock& operator=(const KeyLock&) = delete;
  [[nodiscard]] bool isHeld() const { return isHeld_; }

 private:
  int descriptor_;
  bool isHeld_;
};

TEST(KeyStore, ASignalDoesNotEndTheWaitForTheLock) {
  const TemporaryDirectory place;
  std::filesystem::create_directories(place.file("keys"));
  struct sigaction noted {};
  struct sigaction former {};
  noted.sa_handler = [](int) {};  // without SA_RESTART
  ASSERT_EQ(::sigaction(SIGUSR1, &noted, &former), 0);
  std::string key;
  std::thread waiting;
  {
    const KeyLock lock(place.file("keys/cipher.key.lock"));
    ASSERT_TRUE(lock.isHeld());
    waiting = std::thread([&] { key = keyIn(place.file("keys")); });
    int sent = 0;
    const auto isMade = [&] { return std::filesystem::exists(place.file("keys/cipher.key")); };
    EXPECT_TRUE(waitUntil([&] {
      if (isMade()) return true;
      ::pthread_kill(waiting.native_handle(), SIGUSR1);
      return ++sent >= 200;
    }));

    EXPECT_FALSE(isMade());
  }
  waiting.join();
  EXPECT_EQ(key.size(), 64U);
  ::sigaction(SIGUSR1, &former, nullptr);
}

TEST(KeyStore, TellsOfAnUnusableKeyBehindItsLock) {
  struct Logger : RecordingLogger {
    explicit Logger(std::string path) : path_(std::move(path)) {}
    void write(Severity, const char*, int, const char*, const std::string&) override {
      ++(KeyLock(path_).isHeld() ? linesBehindIt : linesUnderIt);
    }
    std::atomic<int> linesUnderIt{0};
    std::atomic<int> linesBehindIt{0};
    const std::string path_;
  };
  const TemporaryDirectory place;
  (void)keyIn(place.file("keys"));
  place.write("keys/cipher.key", "damaged");
  const auto logger = std::make_shared<Logger>(place.file("keys/cipher.key.lock"));
  KBL::installLogger(logger);

  EXPECT_EQ(keyIn(place.file("keys")).size(), 64U);

  KBL::installLogger(nullptr);
  EXPECT_EQ(logger->linesUnderIt, 0);
  EXPECT_EQ(logger->linesBehindIt, 1);
}

TEST(KeyStore, DefaultDirectoryFollowsTheUsersDataDirectory) {
  const auto codes = inForkedProcesses(3, [](int index) {
    if (index == 0) ::setenv("XDG_DATA_HOME", "/data/of/user", 1);
    if (index == 1) ::setenv("XDG_DATA_HOME", "relative", 1);
    if (index == 2) ::unsetenv("XDG_DATA_HOME");
    ::setenv("HOME", "/home/of/user", 1);
    const std::string expected =
        index == 0 ? "/data/of/user/mediatransfer" : "/home/of/user/.local/share/mediatransfer";
    return KBL::defaultKeyDirectory() == expected ? 0 : 1;
  });

  EXPECT_EQ(codes, std::vector<int>(3, 0));
}

}  // namespace
