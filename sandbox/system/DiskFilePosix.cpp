#include "sandbox/system/DiskFile.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>

namespace sandbox {

namespace {

int openForOwner(const std::string& path, int flags) {
  const int handle = ::open(path.c_str(), flags | O_CLOEXEC, 0600);
  if (handle < 0) throw std::runtime_error("can't open " + path);
  return handle;
}

bool writeAll(int handle, const std::string& text) {
  std::size_t at = 0;
  while (at < text.size()) {
    const ssize_t written = ::write(handle, text.data() + at, text.size() - at);
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return false;
    at += static_cast<std::size_t>(written);
  }
  return true;
}

}  // namespace

FileLock::FileLock(const std::string& path) : handle_(openForOwner(path, O_RDWR | O_CREAT)) {
  while (::flock(static_cast<int>(handle_), LOCK_EX) != 0 && errno == EINTR) {
  }
}

FileLock::~FileLock() {
  // Closing gives back the lock.
  ::close(static_cast<int>(handle_));
}

void writeDurably(const std::string& path, const std::string& text) {
  const int handle = openForOwner(path, O_WRONLY | O_CREAT | O_TRUNC);
  const bool written = writeAll(handle, text) && ::fsync(handle) == 0;
  ::close(handle);
  if (!written) throw std::runtime_error("can't write " + path);
}

}  // namespace sandbox
