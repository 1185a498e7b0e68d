#include "sandbox/state/StateFile.h"

#include "sandbox/JsonText.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace sandbox {

namespace {

// An open file of the system's, closed at the end of its scope; closing gives back its lock.
class Descriptor {
 public:
  Descriptor(const std::string& path, int flags) : handle_(::open(path.c_str(), flags | O_CLOEXEC, 0600)) {
    if (handle_ < 0) throw std::runtime_error("can't open " + path);
  }
  ~Descriptor() { ::close(handle_); }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  [[nodiscard]] int get() const { return handle_; }

 private:
  const int handle_;
};

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

StateFile::StateFile(const std::string& folder, Merge merge, Collect collect)
    : folder_(folder),
      path_(folder + "/sandbox.json"),
      merge_(std::move(merge)),
      collect_(std::move(collect)) {
  if (folder_.empty()) return;
  std::error_code error;
  if (std::filesystem::create_directories(folder_, error)) {
    std::filesystem::permissions(folder_, std::filesystem::perms::owner_all, error);
  }
  if (!std::filesystem::is_directory(folder_, error))
    throw std::runtime_error("can't use the folder " + folder_);
}

void StateFile::load() {
  if (folder_.empty()) return;
  const std::lock_guard lock(mutex_);
  loadUnlocked();
}

void StateFile::save() {
  if (folder_.empty()) return;
  const std::lock_guard lock(mutex_);
  const Descriptor fileLock(folder_ + "/sandbox.lock", O_RDWR | O_CREAT);
  while (::flock(fileLock.get(), LOCK_EX) != 0 && errno == EINTR) {
  }
  loadUnlocked();
  replace(readableJson(collect_()));
}

void StateFile::loadUnlocked() const {
  const std::ifstream file(path_, std::ios::binary);
  if (!file) return;
  std::ostringstream text;
  text << file.rdbuf();
  merge_(parseJson(text.str()).value_or(Json::Value(Json::objectValue)));
}

void StateFile::replace(const std::string& text) const {
  const std::string draft = path_ + ".new";
  {
    const Descriptor file(draft, O_WRONLY | O_CREAT | O_TRUNC);
    if (!writeAll(file.get(), text) || ::fsync(file.get()) != 0)
      throw std::runtime_error("can't write " + draft);
  }
  std::error_code error;
  std::filesystem::rename(draft, path_, error);
  if (error) throw std::runtime_error("can't replace " + path_);
}

}  // namespace sandbox
