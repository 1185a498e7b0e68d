#include "foundation/Texts.h"
#include "foundation/system/PosixFiles.h"
#include "foundation/system/System.h"

#include <fcntl.h>
#include <pwd.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>

namespace KBL::System {

namespace {

constexpr mode_t ownerFile = S_IRUSR | S_IWUSR;
constexpr mode_t ownerDirectory = S_IRWXU;

/// What fopen opens with.
int openFlags(const std::string& mode) {
  const int access = mode.find('+') != std::string::npos ? O_RDWR
                     : mode.starts_with('r')             ? O_RDONLY
                                                         : O_WRONLY;
  if (mode.starts_with('w')) return access | O_CREAT | O_TRUNC;
  return mode.starts_with('a') ? access | O_CREAT | O_APPEND : access;
}

int createExclusively(const std::string& path) {
  return ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, ownerFile);
}

std::int64_t nanoseconds(const timespec& moment) {
  return std::int64_t{moment.tv_sec} * 1'000'000'000 + moment.tv_nsec;
}

bool lock(int descriptor) {
  int result = -1;
  do {
    result = ::flock(descriptor, LOCK_EX);
  } while (result != 0 && errno == EINTR);
  return result == 0;
}

std::string homeDirectory() {
  const char* const home = std::getenv("HOME");
  if (home != nullptr && *home == '/') return home;
  std::vector<char> buffer(1U << 16);
  passwd entry{};
  passwd* found = nullptr;
  const bool isKnown =
      ::getpwuid_r(::getuid(), &entry, buffer.data(), buffer.size(), &found) == 0 && found != nullptr;
  return isKnown ? textOrEmpty(found->pw_dir) : "";
}

}  // namespace

std::size_t leadingSlashes() {
  return 1;
}

UniqueFile openFile(const std::string& path, const char* mode) {
  // A pipe would wait there for the process at its other end, if opening might wait.
  Descriptor descriptor(
      ::open(path.c_str(), openFlags(mode) | O_CLOEXEC | O_NONBLOCK | O_NOCTTY, newFileRights));
  struct stat status {};
  if (!descriptor || ::fstat(descriptor.get(), &status) != 0) return nullptr;
  if (S_ISDIR(status.st_mode) || S_ISFIFO(status.st_mode)) return nullptr;
  const int flags = ::fcntl(descriptor.get(), F_GETFL);
  if (flags < 0 || ::fcntl(descriptor.get(), F_SETFL, flags & ~O_NONBLOCK) != 0) return nullptr;
  UniqueFile file(::fdopen(descriptor.get(), mode));
  if (file != nullptr) descriptor.release();
  return file;
}

void keepFromChildren(std::FILE* file) {
  const int descriptor = ::fileno(file);
  const int flags = ::fcntl(descriptor, F_GETFD);
  if (flags >= 0) (void)::fcntl(descriptor, F_SETFD, flags | FD_CLOEXEC);
}

std::uint64_t fileSize(std::FILE* file) {
  struct stat status {};
  if (::fstat(::fileno(file), &status) != 0 || status.st_size < 0) return 0;
  return static_cast<std::uint64_t>(status.st_size);
}

std::optional<FileVersion> fileVersion(const std::string& path) {
  // More than the grain of any file system's times.
  constexpr std::int64_t momentNs = 3'000'000'000;
  struct stat status {};
  if (::stat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) return std::nullopt;
  const FileVersion version{
      static_cast<std::uint64_t>(status.st_dev), static_cast<std::uint64_t>(status.st_ino),
      static_cast<std::uint64_t>(status.st_size), nanoseconds(status.st_mtim), nanoseconds(status.st_ctim)};
  timespec now{};
  if (::clock_gettime(CLOCK_REALTIME, &now) != 0 || nanoseconds(now) - version.changedNs < momentNs) {
    return std::nullopt;
  }
  return version;
}

bool seekFile(std::FILE* file, std::uint64_t place) {
  return ::fseeko(file, static_cast<off_t>(place), SEEK_SET) == 0;
}

bool createPrivateFile(const std::string& path) {
  return static_cast<bool>(Descriptor(createExclusively(path)));
}

void makeFilePrivate(const std::string& path) {
  struct stat status {};
  if (::stat(path.c_str(), &status) != 0) return;
  if ((status.st_mode & (S_IRWXG | S_IRWXO)) == 0) return;
  (void)::chmod(path.c_str(), status.st_mode & S_IRWXU);
}

bool createPrivateDirectory(const std::string& path) {
  return ::mkdir(path.c_str(), ownerDirectory) == 0;
}

bool writeNewPrivateFile(const std::string& path, const std::string& contents) {
  const Descriptor descriptor(createExclusively(path));
  return descriptor && writeAll(descriptor.get(), contents.data(), contents.size()) &&
         ::fsync(descriptor.get()) == 0;
}

bool bringFileToDisk(const std::string& path) {
  const Descriptor descriptor(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  return descriptor && bringToDisk(descriptor.get());
}

bool replaceFile(const std::string& from, const std::string& to) {
  if (std::rename(from.c_str(), to.c_str()) != 0) return false;
  syncDirectoryOf(to);
  return true;
}

bool publishNewFile(const std::string& from, const std::string& to) {
  bool isPublished = ::link(from.c_str(), to.c_str()) == 0;
  // A file system without hard links; FileLock holds the others off meanwhile.
  const bool hasNoLinks = !isPublished && (errno == EPERM || errno == EOPNOTSUPP || errno == EMLINK);
  if (hasNoLinks && ::access(to.c_str(), F_OK) != 0) isPublished = ::rename(from.c_str(), to.c_str()) == 0;
  (void)::unlink(from.c_str());
  if (isPublished) syncDirectoryOf(to);
  return isPublished;
}

struct FileLock::Handle {
  explicit Handle(int number) : descriptor(number), isLocked(number >= 0 && lock(number)) {}
  Descriptor descriptor;
  bool isLocked;
};

FileLock::FileLock(const std::string& path)
    : handle_(std::make_unique<Handle>(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, ownerFile))) {}

FileLock::~FileLock() = default;

bool FileLock::isHeld() const {
  return handle_->isLocked;
}

std::string userDataDirectory() {
  const char* const data = std::getenv("XDG_DATA_HOME");
  if (data != nullptr && *data == '/') return std::string(data) + "/mediatransfer";
  const std::string home = homeDirectory();
  return home.empty() ? "" : home + "/.local/share/mediatransfer";
}

// The file's mode protects the key.
std::optional<std::string> protectKey(const std::string& key) {
  return key;
}
UnprotectedKey unprotectKey(const std::string& stored) {
  return {UnprotectedKey::State::good, stored};
}

bool fillRandom(unsigned char* buffer, std::size_t size) {
  constexpr std::size_t largestRequest = 256;
  for (std::size_t done = 0; done < size;) {
    const std::size_t part = std::min(largestRequest, size - done);
    if (::getentropy(buffer + done, part) != 0) return false;
    done += part;
  }
  return true;
}

bool localTime(std::time_t moment, std::tm& broken) {
  return ::localtime_r(&moment, &broken) != nullptr;
}

}  // namespace KBL::System
