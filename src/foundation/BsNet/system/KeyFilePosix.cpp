#include "foundation/BsNet/system/KeyFileSystem.h"

#include <fcntl.h>
#include <pwd.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <vector>

namespace KBL::System {
namespace {

class Descriptor {
 public:
  explicit Descriptor(int number) : number_(number) {}
  ~Descriptor() {
    if (number_ >= 0) ::close(number_);
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  [[nodiscard]] int get() const { return number_; }

 private:
  int number_;
};

std::string homeDirectory() {
  const char* const home = std::getenv("HOME");
  if (home != nullptr && *home == '/') return home;
  std::vector<char> buffer(1U << 16);
  passwd entry{};
  passwd* found = nullptr;
  const bool isKnown =
      ::getpwuid_r(::getuid(), &entry, buffer.data(), buffer.size(), &found) == 0 && found != nullptr;
  return isKnown && found->pw_dir != nullptr ? found->pw_dir : "";
}

void bringToDisk(const std::string& directory) {
  const Descriptor descriptor(::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (descriptor.get() >= 0) (void)::fsync(descriptor.get());
}

}  // namespace

std::string userDataDirectory() {
  const char* const data = std::getenv("XDG_DATA_HOME");
  if (data != nullptr && *data == '/') return std::string(data) + "/mediatransfer";
  const std::string home = homeDirectory();
  return home.empty() ? "" : home + "/.local/share/mediatransfer";
}

bool publishNewFile(const std::string& from, const std::string& to) {
  bool isPublished = ::link(from.c_str(), to.c_str()) == 0;
  // A file system without hard links; FileLock holds the others off meanwhile.
  const bool hasNoLinks = !isPublished && (errno == EPERM || errno == EOPNOTSUPP || errno == EMLINK);
  if (hasNoLinks && ::access(to.c_str(), F_OK) != 0) isPublished = ::rename(from.c_str(), to.c_str()) == 0;
  (void)::unlink(from.c_str());
  if (isPublished) bringToDisk(std::filesystem::path(to).parent_path().string());
  return isPublished;
}

struct FileLock::Handle {
  explicit Handle(int number) : descriptor(number) {}
  Descriptor descriptor;
};

FileLock::FileLock(const std::string& path)
    : handle_(std::make_unique<Handle>(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600))) {
  if (handle_->descriptor.get() >= 0) (void)::flock(handle_->descriptor.get(), LOCK_EX);
}

FileLock::~FileLock() = default;

// The file's mode protects the key.
std::optional<std::string> protectKey(const std::string& key) {
  return key;
}
std::optional<std::string> unprotectKey(const std::string& stored) {
  return stored;
}

}  // namespace KBL::System
