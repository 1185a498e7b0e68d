#include "foundation/Texts.h"
#include "foundation/system/FileReplacement.h"
#include "foundation/system/PosixFiles.h"
#include "foundation/system/System.h"

#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#if defined(__linux__)
#include <sys/xattr.h>
#endif

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <utility>

namespace KBL::System {

namespace {

constexpr mode_t rightsBits = S_IRWXU | S_IRWXG | S_IRWXO;

/// What bears the target's name.
struct Target {
  bool isThere = false;
  bool isUsable = false;  // an ordinary file that may be written, or nothing
  struct stat status {};
};

/// Names of files that somebody has open: a new file under such a name would not reach whoever reads them.
bool namesADescriptor(const std::string& path) {
  return path.starts_with("/dev/fd/") || path.starts_with("/dev/std") || path.starts_with("/proc/");
}

Target targetAt(const std::string& path) {
  Target target;
  if (namesADescriptor(path)) return target;
  if (::stat(path.c_str(), &target.status) == 0) {
    target.isThere = true;
    target.isUsable =
        S_ISREG(target.status.st_mode) && ::faccessat(AT_FDCWD, path.c_str(), R_OK | W_OK, AT_EACCESS) == 0;
    return target;
  }
  // A link to nowhere is nothing to replace: opening it makes what it leads to.
  struct stat link {};
  target.isUsable = errno == ENOENT && ::lstat(path.c_str(), &link) != 0;
  return target;
}

std::string realPath(const std::string& path) {
  char real[PATH_MAX];
  return ::realpath(path.c_str(), real) != nullptr ? real : "";
}

/// The target's place behind links, good in every working directory; empty when it can't be had.
std::string placeOf(const Target& target, const std::string& path) {
  if (target.isThere) return realPath(path);
  const std::string directory = realPath(directoryOf(path));
  return directory.empty() ? "" : directory + "/" + path.substr(path.rfind('/') + 1);
}

std::string nameBeside(const std::string& path) {
  unsigned char random[8]{};
  (void)fillRandom(random, sizeof random);  // a name that is taken does not open
  std::string name = directoryOf(path) + ".download-";
  for (const unsigned char byte : random) (void)writeHex(std::back_inserter(name), byte);
  return name + ".part";
}

bool giveName(int descriptor, const std::string& name) {
  const std::string open = "/proc/self/fd/" + std::to_string(descriptor);
  return ::linkat(AT_FDCWD, open.c_str(), AT_FDCWD, name.c_str(), AT_SYMLINK_FOLLOW) == 0;
}

#if defined(__linux__)
constexpr const char* accessList = "system.posix_acl_access";

bool hasAccessList(const std::string& path) {
  return ::getxattr(path.c_str(), accessList, nullptr, 0) > 0;
}
bool hasAccessList(int descriptor) {
  return ::fgetxattr(descriptor, accessList, nullptr, 0) > 0;
}
#else
template <class File>
bool hasAccessList(const File&) {
  return false;
}
#endif

}  // namespace

struct FileReplacement::File {
  explicit File(const std::string& path) : target(path) {}
  ~File() {
    if (!name.empty()) (void)::unlink(name.c_str());
  }

  /// A file without a name goes with its descriptor, whatever happens to the process.
  [[nodiscard]] bool openNameless(const std::string& place) {
#if defined(O_TMPFILE)
    descriptor.reset(::open(directoryOf(place).c_str(), O_RDWR | O_TMPFILE | O_CLOEXEC, newFileRights));
#else
    (void)place;
#endif
    return static_cast<bool>(descriptor);
  }

  [[nodiscard]] bool open(const std::string& place, bool isThere) {
    std::string beside = nameBeside(place);
    const mode_t rights = isThere ? S_IRUSR | S_IWUSR : newFileRights;
    descriptor.reset(::open(beside.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, rights));
    if (descriptor) name = std::move(beside);
    return static_cast<bool>(descriptor);
  }

  /// The new file gets the rights of the one whose place it takes. False when that has more to it than
  /// rights.
  [[nodiscard]] bool takesAfter(const Target& former) const {
    struct stat own {};
    if (::fstat(descriptor.get(), &own) != 0) return false;
    const bool isAlike = former.status.st_uid == own.st_uid && former.status.st_gid == own.st_gid;
    // The new file's list is its directory's.
    const bool isPlain =
        former.status.st_nlink == 1 && !hasAccessList(target) && !hasAccessList(descriptor.get());
    return isAlike && isPlain && ::fchmod(descriptor.get(), former.status.st_mode & rightsBits) == 0;
  }

  const std::string target;
  Descriptor descriptor{-1};
  std::string name;  // empty for none
};

FileReplacement::FileReplacement(std::unique_ptr<File> file) : file_(std::move(file)) {}

FileReplacement::~FileReplacement() = default;

std::unique_ptr<FileReplacement> FileReplacement::begin(const std::string& target, Name name) {
  const Target former = targetAt(target);
  if (!former.isUsable) return nullptr;
  auto file = std::make_unique<File>(target);
  const std::string place = placeOf(former, target);
  if (place.empty()) return nullptr;
  const bool isOpen = (name == Name::none && file->openNameless(place)) || file->open(place, former.isThere);
  if (!isOpen) return nullptr;
  return std::unique_ptr<FileReplacement>(new FileReplacement(std::move(file)));
}

std::optional<std::uint64_t> FileReplacement::freeBytes() const {
  struct statvfs room {};
  rlimit limit{};
  if (::fstatvfs(file_->descriptor.get(), &room) != 0 || room.f_blocks == 0) return std::nullopt;
  if (::getrlimit(RLIMIT_FSIZE, &limit) != 0) return std::nullopt;
  const auto blocks = ::geteuid() == 0 ? room.f_bfree : room.f_bavail;  // some are kept for root
  const auto bytes = static_cast<std::uint64_t>(blocks) * room.f_frsize;
  return std::min(bytes, static_cast<std::uint64_t>(limit.rlim_cur));
}

bool FileReplacement::append(const char* data, std::size_t size) {
  return writeAll(file_->descriptor.get(), data, size);
}

FileReplacement::Outcome FileReplacement::putInPlace() {
  const int descriptor = file_->descriptor.get();
  if (!bringToDisk(descriptor)) return Outcome::lost;
  // It may have changed since the beginning.
  const Target former = targetAt(file_->target);
  if (!former.isUsable || (former.isThere && !file_->takesAfter(former))) return Outcome::refused;
  const std::string place = placeOf(former, file_->target);
  if (place.empty()) return Outcome::refused;
  if (file_->name.empty()) {
    std::string name = nameBeside(place);
    if (!giveName(descriptor, name)) return Outcome::refused;
    file_->name = std::move(name);
  }
  if (std::rename(file_->name.c_str(), place.c_str()) != 0) return Outcome::refused;
  file_->name.clear();
  syncDirectoryOf(place);
  return Outcome::done;
}

std::size_t FileReplacement::read(std::uint64_t place, char* buffer, std::size_t size) const {
  ssize_t got = -1;
  do {
    got = ::pread(file_->descriptor.get(), buffer, size, static_cast<off_t>(place));
  } while (got < 0 && errno == EINTR);
  return got < 0 ? 0 : static_cast<std::size_t>(got);
}

UniqueFile openInPlace(const std::string& target) {
  return UniqueFile(std::fopen(target.c_str(), "wb+"));
}

std::optional<std::uint64_t> sizeOfTarget(const std::string& target) {
  struct stat status {};
  if (::stat(target.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) return std::nullopt;
  return static_cast<std::uint64_t>(status.st_size);
}

}  // namespace KBL::System
