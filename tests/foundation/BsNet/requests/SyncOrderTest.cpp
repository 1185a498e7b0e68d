// What reaches the disk, and when: a download before it takes its place, a new key before it is used. The
// program's own fsync serves the whole process.

#include "foundation/BsNet/requests/BaseRequestFixture.h"
#include "support/TemporaryDirectory.h"
#include <BsNet/cipher.h>

#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace {

/// Called with the path of what is brought to the disk; returns the error, 0 for none.
std::function<int(const std::string&)> whenSynced;

std::string pathOfDescriptor(int descriptor) {
  std::error_code unknown;
  return std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(descriptor), unknown).string();
}

}  // namespace

extern "C" __attribute__((visibility("default"))) int fsync(int descriptor) {
  const int error = whenSynced ? whenSynced(pathOfDescriptor(descriptor)) : 0;
  if (error == 0) return static_cast<int>(::syscall(SYS_fsync, descriptor));
  errno = error;
  return -1;
}

namespace {

class SyncOrder : public testing::Test {
 protected:
  ~SyncOrder() override { whenSynced = nullptr; }

  int fetch() const {
    const ScriptedNetwork network([](const SentExchange& sent) {
      sent.writer->onResponseData("new data", 8, nullptr);
      return okReply();
    });
    return KBL::makeRef<Request>()->download("http://a/", place.file("file").c_str(), nullptr, nullptr);
  }

  const TemporaryDirectory place;
};

TEST_F(SyncOrder, DownloadIsOnTheDiskBeforeItTakesItsPlace) {
  place.write("file", "old");
  std::vector<std::string> steps;
  whenSynced = [&](const std::string& path) {
    const bool isPart = path.ends_with(".part");
    const std::string name = std::filesystem::path(path).filename().string();
    if (isPart) steps.push_back("part with " + place.read(name) + " beside " + place.read("file"));
    if (path == place.path()) steps.push_back("folder with " + place.read("file"));
    return 0;
  };

  EXPECT_EQ(fetch(), 0);

  EXPECT_EQ(steps, (std::vector<std::string>{"part with new data beside old", "folder with new data"}));
}

TEST_F(SyncOrder, DownloadThatTheDiskLosesReplacesNothing) {
  place.write("file", "old");
  whenSynced = [](const std::string& path) { return path.ends_with(".part") ? EIO : 0; };

  EXPECT_EQ(fetch(), 200023);

  EXPECT_EQ(place.read("file"), "old");
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(place.path()), {}), 1);
}

TEST_F(SyncOrder, AFileSystemThatCannotSyncLosesNothing) {
  whenSynced = [](const std::string&) { return EINVAL; };

  EXPECT_EQ(fetch(), 0);

  EXPECT_EQ(place.read("file"), "new data");
}

TEST_F(SyncOrder, ANewKeyIsOnTheDiskWithItsNameBeforeItIsUsed) {
  std::vector<std::string> steps;
  whenSynced = [&](const std::string& path) {
    const bool isThere = std::filesystem::exists(place.file("cipher.key"));
    steps.push_back(path == place.path() ? "folder" : "file");
    steps.back() += isThere ? " with the key" : " without it";
    return 0;
  };

  (void)KBL::makeFileKeyStore(place.path().string())->loadOrCreateKey();

  EXPECT_EQ(steps, (std::vector<std::string>{"file without it", "folder without it", "folder with the key"}));
}

TEST_F(SyncOrder, AKeyThatAnotherProcessMadeMeanwhileIsTaken) {
  const auto theirs = KBL::makeFileKeyStore(place.file("other"))->loadOrCreateKey();
  whenSynced = [&](const std::string& path) {
    std::error_code isThere;
    if (path != place.path()) {
      std::filesystem::copy_file(place.file("other/cipher.key"), place.file("cipher.key"), isThere);
    }
    return 0;
  };

  EXPECT_EQ(KBL::makeFileKeyStore(place.path().string())->loadOrCreateKey(), theirs);
}

}  // namespace
