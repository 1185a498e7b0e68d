#pragma once

#include <optional>
#include <string>

namespace host {

// Where the program opens files of the host's user. Paths are UTF-8.

/// Whether the file opens for reading.
[[nodiscard]] bool opensForReading(const std::string& path);
/// All of a file's bytes, none when it can't be read.
[[nodiscard]] std::string contentsOf(const std::string& path);
/// The first line without its end, reading no further than that, as from a pipe; nothing where there is none.
[[nodiscard]] std::optional<std::string> firstLineOf(const std::string& path);
/// Whether others than the owner of the file or folder may do anything with it, as far as its mode tells.
[[nodiscard]] bool isOpenToOthers(const std::string& path);
/// Makes the file or replaces its contents. False when not all of it could be written.
[[nodiscard]] bool writeFile(const std::string& path, const std::string& contents);

}  // namespace host
