#pragma once

#include <memory>
#include <optional>
#include <string>

/// What the key file needs of the operating system; one implementation file each. Paths are UTF-8.
namespace KBL::System {

/// Where a user's data of this product lives; empty when the system does not tell.
[[nodiscard]] std::string userDataDirectory();

/// Gives the finished file `from` the name `to`, unless something of that name is there; `from` is gone
/// afterwards in either case. False when `to` was there or the system refused.
[[nodiscard]] bool publishNewFile(const std::string& from, const std::string& to);

/// Holds other processes and threads off while one of them makes the key. Best effort: on a file system
/// without locks it holds nobody off.
class FileLock {
 public:
  explicit FileLock(const std::string& path);
  ~FileLock();
  FileLock(const FileLock&) = delete;
  FileLock& operator=(const FileLock&) = delete;

 private:
  struct Handle;
  std::unique_ptr<Handle> handle_;
};

/// The key as it stands in the file, and back: bound to the user where the system offers that.
[[nodiscard]] std::optional<std::string> protectKey(const std::string& key);
[[nodiscard]] std::optional<std::string> unprotectKey(const std::string& stored);

}  // namespace KBL::System
