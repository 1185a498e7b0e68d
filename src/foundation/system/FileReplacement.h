#pragma once

#include "foundation/system/System.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>

namespace KBL::System {

/// What is to take a file's place in one step, once all of it is there. Until then it has no name or, where
/// the system knows no files without one, a name of its own in the same directory. Nothing is left of it when
/// its owner goes without putting it in place. One thread at a time.
class FileReplacement {
 public:
  enum class Name { none, own };  ///< none is a wish: not every file system has such files

  /// `target` is in the system's narrow encoding. Null where the target is something else than an ordinary
  /// file that may be written, or than nothing at all, and where no file can be made beside it.
  [[nodiscard]] static std::unique_ptr<FileReplacement> begin(const std::string& target,
                                                              Name name = Name::none);
  ~FileReplacement();
  FileReplacement(const FileReplacement&) = delete;
  FileReplacement& operator=(const FileReplacement&) = delete;

  /// Bytes that the process may still write where the file lies; none where the system can't tell.
  [[nodiscard]] std::optional<std::uint64_t> freeBytes() const;
  /// False when not all of it could be written.
  [[nodiscard]] bool append(const char* data, std::size_t size);

  enum class Outcome {
    done,     ///< the contents are on the disk under the target's name, with the rights that the target had
    lost,     ///< the disk could not keep them; the target is as it was
    refused,  ///< the target can't be replaced without changing whose it is or what it is; it is as it was
  };
  /// Once.
  [[nodiscard]] Outcome putInPlace();
  /// Reads what was appended, from `place` on; how many bytes, 0 at the end and on a failure.
  [[nodiscard]] std::size_t read(std::uint64_t place, char* buffer, std::size_t size) const;

 private:
  struct File;
  explicit FileReplacement(std::unique_ptr<File> file);

  const std::unique_ptr<File> file_;
};

/// The way for a target that can't be replaced: opens and empties it as fopen does, whatever it is. `target`
/// is in the system's narrow encoding.
[[nodiscard]] UniqueFile openInPlace(const std::string& target);
/// Bytes of what stands there; none where the system can't tell. `target` is in its narrow encoding.
[[nodiscard]] std::optional<std::uint64_t> sizeOfTarget(const std::string& target);

}  // namespace KBL::System
