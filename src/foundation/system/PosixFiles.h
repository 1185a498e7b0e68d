#pragma once

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <string>

/// What the files of this folder for POSIX systems share.
namespace KBL::System {

/// The rights of a file that fopen makes.
inline constexpr mode_t newFileRights = S_IRUSR | S_IWUSR | S_IRGRP | S_IWGRP | S_IROTH | S_IWOTH;

/// Owner of a file descriptor.
class Descriptor {
 public:
  explicit Descriptor(int descriptor) : descriptor_(descriptor) {}
  ~Descriptor() { reset(-1); }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;

  [[nodiscard]] int get() const { return descriptor_; }
  [[nodiscard]] explicit operator bool() const { return descriptor_ >= 0; }
  void release() { descriptor_ = -1; }
  /// Closes what was there.
  void reset(int descriptor) {
    if (descriptor_ >= 0) (void)::close(descriptor_);
    descriptor_ = descriptor;
  }

 private:
  int descriptor_;
};

/// False when not all of it could be written.
inline bool writeAll(int descriptor, const char* data, std::size_t size) {
  for (std::size_t done = 0; done < size;) {
    const ssize_t written = ::write(descriptor, data + done, size - done);
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return false;
    done += static_cast<std::size_t>(written);
  }
  return true;
}

/// Waits until what was written is on the disk; false when the disk has lost some of it.
inline bool bringToDisk(int descriptor) {
  if (::fsync(descriptor) == 0) return true;
  // Some file systems cannot sync, which is no loss.
  return errno != EIO && errno != ENOSPC && errno != EDQUOT;
}

/// The directory that a path's last name lies in, with its slash; "./" for a bare name.
inline std::string directoryOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  return slash == std::string::npos ? "./" : path.substr(0, slash + 1);
}

/// A renamed file outlives a power failure only when its directory reached the disk.
inline void syncDirectoryOf(const std::string& path) {
  const Descriptor descriptor(::open(directoryOf(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (descriptor) (void)::fsync(descriptor.get());
}

}  // namespace KBL::System
