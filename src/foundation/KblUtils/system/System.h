#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <string>
#include <vector>

/// What differs between operating systems; one implementation file each. All paths are UTF-8. Nothing here
/// throws, but for want of memory.
namespace KBL::System {

/// The standard library's form of a UTF-8 path.
[[nodiscard]] std::filesystem::path nativePath(const std::string& path);

/// As fopen, but for directories and pipes, which do not open; not inherited by child processes. The caller
/// closes it.
[[nodiscard]] std::FILE* openFile(const std::string& path, const char* mode);
/// Bytes of an open file of any size, 0 when they cannot be told.
[[nodiscard]] std::uint64_t fileSize(std::FILE* file);

/// Makes an empty file for its owner only, and only when nothing of that name is there.
[[nodiscard]] bool createPrivateFile(const std::string& path);
/// Takes away the rights that others than the owner have on an existing file, without opening it.
void makeFilePrivate(const std::string& path);
/// Makes one directory for its owner only; its parent must be there.
[[nodiscard]] bool createPrivateDirectory(const std::string& path);
/// Makes a file for its owner only, writes it and brings it to the disk. The file must not be there yet.
[[nodiscard]] bool writeNewPrivateFile(const std::string& path, const std::string& contents);
/// Puts `from` in the place of `to` in one step and brings the change to the disk.
[[nodiscard]] bool replaceFile(const std::string& from, const std::string& to);

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

/// A variable of the environment in UTF-8, empty when there is none.
[[nodiscard]] std::string environmentVariable(const char* name);

/// The local wall-clock form of a moment.
[[nodiscard]] bool localTime(std::time_t moment, std::tm& broken);

}  // namespace KBL::System
