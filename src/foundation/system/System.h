#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

/// What differs between operating systems; one implementation each. All paths are UTF-8. Nothing here throws,
/// but for want of memory.
namespace KBL::System {

/// The standard library's form of a UTF-8 path. Throws for a text that is no path on this system.
[[nodiscard]] inline std::filesystem::path nativePath(const std::string& path) {
  return std::filesystem::path(std::u8string(path.begin(), path.end()));
}
/// The way back, for what `u8string` or `generic_u8string` of a path gives.
[[nodiscard]] inline std::string utf8Text(const std::u8string& text) {
  return {text.begin(), text.end()};
}
/// How many slashes a path may begin with that are not one.
[[nodiscard]] std::size_t leadingSlashes();

struct CloseFile {
  void operator()(std::FILE* file) const { (void)std::fclose(file); }
};
using UniqueFile = std::unique_ptr<std::FILE, CloseFile>;

/// As fopen, but for directories, pipes and the devices of Windows (CON, COM1, NUL), which do not open; not
/// inherited by child processes.
[[nodiscard]] UniqueFile openFile(const std::string& path, const char* mode);
/// Child processes that start from now on do not inherit the file.
void keepFromChildren(std::FILE* file);
/// Bytes of an open file of any size, 0 when they cannot be told.
[[nodiscard]] std::uint64_t fileSize(std::FILE* file);
/// What tells a file's contents from what they were: it changes when they do.
struct FileVersion {
  std::uint64_t device = 0;
  std::uint64_t number = 0;
  std::uint64_t size = 0;
  std::int64_t writtenNs = 0;
  std::int64_t changedNs = 0;
  bool operator==(const FileVersion&) const = default;
};
/// Nothing for what is no file, for one that changed a moment ago and could again unnoticed, and where the
/// system cannot tell.
[[nodiscard]] std::optional<FileVersion> fileVersion(const std::string& path);
/// As fseek from the beginning, in files of any size.
[[nodiscard]] bool seekFile(std::FILE* file, std::uint64_t place);

/// Makes an empty file for its owner only, and only when nothing of that name is there.
[[nodiscard]] bool createPrivateFile(const std::string& path);
/// Takes away the rights that others than the owner have on an existing file, without opening it.
void makeFilePrivate(const std::string& path);
/// Makes one directory for its owner only; its parent must be there.
[[nodiscard]] bool createPrivateDirectory(const std::string& path);
/// Makes a file for its owner only, writes it and brings it to the disk. The file must not be there yet.
[[nodiscard]] bool writeNewPrivateFile(const std::string& path, const std::string& contents);
/// Waits until a file's contents are on the disk; false when the disk has lost some of them.
[[nodiscard]] bool bringFileToDisk(const std::string& path);
/// Puts `from` in the place of `to` in one step and brings the change to the disk. On Windows a file that
/// somebody reads can't be moved: it waits up to a second and a half for the end of that, also where it is
/// the rights that are missing, which the system tells by the same number.
[[nodiscard]] bool replaceFile(const std::string& from, const std::string& to);
/// Gives the finished file `from` the name `to`, unless something of that name is there; `from` is gone
/// afterwards in either case. False when `to` was there or the system refused. Waits as `replaceFile`.
[[nodiscard]] bool publishNewFile(const std::string& from, const std::string& to);

/// Holds other processes and threads off while one of them makes a file; waits for its turn.
class FileLock {
 public:
  explicit FileLock(const std::string& path);
  ~FileLock();
  FileLock(const FileLock&) = delete;
  FileLock& operator=(const FileLock&) = delete;
  /// False where the lock's file cannot be made, and on a file system without locks: nobody is held off then.
  [[nodiscard]] bool isHeld() const;

 private:
  struct Handle;
  std::unique_ptr<Handle> handle_;
};

/// Where a user's data of this product lives; empty when the system does not tell.
[[nodiscard]] std::string userDataDirectory();
/// A key as it stands in a file, and back: bound to the user where the system offers that.
[[nodiscard]] std::optional<std::string> protectKey(const std::string& key);
struct UnprotectedKey {
  enum class State {
    good,
    damaged,  ///< what is stored is no key
    notNow    ///< the system could not tell, and may another time
  };
  State state;
  std::string key;
  std::string reason = {};  ///< the system's number, where it could not tell
};
[[nodiscard]] UnprotectedKey unprotectKey(const std::string& stored);

/// Fills the buffer from the system's source of random numbers that are fit for keys.
[[nodiscard]] bool fillRandom(unsigned char* buffer, std::size_t size);

/// Loads a shared library whose symbols later ones see; null with the system's reason when that fails.
[[nodiscard]] void* openLibrary(const std::string& path, std::string& reason);
/// The loaded library that offers `symbol`, opened once more, with the name that the system knows it by.
[[nodiscard]] void* findLoadedLibrary(const char* symbol, std::string& name);
[[nodiscard]] void* librarySymbol(void* library, const char* name);
/// How a library's file is called here, most exact name first.
[[nodiscard]] std::vector<std::string> libraryFileNames(const std::string& name, const std::string& version);
/// The counterpart of `openLibrary` and `findLoadedLibrary`.
void closeLibrary(void* library);

/// Runs it on a thread of its own, for which nobody waits; false where no thread can be made. What it throws
/// ends the process.
[[nodiscard]] bool startDetached(std::function<void()> work);

/// A variable of the environment in UTF-8, empty when there is none.
[[nodiscard]] std::string environmentVariable(const char* name);

/// The local wall-clock form of a moment.
[[nodiscard]] bool localTime(std::time_t moment, std::tm& broken);

}  // namespace KBL::System
