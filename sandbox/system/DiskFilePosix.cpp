#include "sandbox/system/DiskFile.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>

namespace sandbox {

namespace {

int openForOwner(const std::string& path) {
  const int handle = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  if (handle < 0) throw std::runtime_error("can't open " + path);
  return handle;
}

}  // namespace

FileLock::FileLock(const std::string& path) : handle_(openForOwner(path)) {
  while (::flock(static_cast<int>(handle_), LOCK_EX) != 0 && errno == EINTR) {
  }
}

FileLock::~FileLock() {
  // Closing gives back the lock.
  ::close(static_cast<int>(handle_));
}

void makeForOwner(const std::string& path) {
  const int handle = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
  if (handle >= 0) ::close(handle);
  if (handle < 0 && errno != EEXIST) throw std::runtime_error("can't make " + path);
}

}  // namespace sandbox
