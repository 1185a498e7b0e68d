#include "foundation/KblUtils/system/System.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

namespace KBL::System {

namespace {

constexpr mode_t ownerFile = S_IRUSR | S_IWUSR;
constexpr mode_t ownerDirectory = S_IRWXU;

/// Owner of a file descriptor.
class Descriptor {
 public:
  explicit Descriptor(int descriptor) : descriptor_(descriptor) {}
  ~Descriptor() {
    if (descriptor_ >= 0) (void)::close(descriptor_);
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;

  [[nodiscard]] int get() const { return descriptor_; }
  [[nodiscard]] explicit operator bool() const { return descriptor_ >= 0; }

 private:
  int descriptor_;
};

int createExclusively(const std::string& path) {
  return ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, ownerFile);
}

bool writeAll(int descriptor, const std::string& contents) {
  std::size_t done = 0;
  while (done < contents.size()) {
    const ssize_t written = ::write(descriptor, contents.data() + done, contents.size() - done);
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return false;
    done += static_cast<std::size_t>(written);
  }
  return true;
}

/// A renamed file outlives a power failure only when its directory reached the disk.
void syncDirectoryOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  const std::string directory = slash == std::string::npos ? "." : path.substr(0, slash + 1);
  const Descriptor descriptor(::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (descriptor) (void)::fsync(descriptor.get());
}

}  // namespace

std::FILE* openFile(const std::string& path, const char* mode) {
  // Refused before it is opened: a pipe would wait there for the process at its other end.
  struct stat status {};
  if (::stat(path.c_str(), &status) == 0 && S_ISFIFO(status.st_mode)) return nullptr;
  std::FILE* const file = std::fopen(path.c_str(), mode);
  if (file == nullptr) return nullptr;
  if (::fstat(::fileno(file), &status) != 0 || S_ISDIR(status.st_mode)) {
    (void)std::fclose(file);
    return nullptr;
  }
  (void)::fcntl(::fileno(file), F_SETFD, FD_CLOEXEC);
  return file;
}

std::uint64_t fileSize(std::FILE* file) {
  struct stat status {};
  if (::fstat(::fileno(file), &status) != 0 || status.st_size < 0) return 0;
  return static_cast<std::uint64_t>(status.st_size);
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
  return descriptor && writeAll(descriptor.get(), contents) && ::fsync(descriptor.get()) == 0;
}

bool replaceFile(const std::string& from, const std::string& to) {
  if (std::rename(from.c_str(), to.c_str()) != 0) return false;
  syncDirectoryOf(to);
  return true;
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
