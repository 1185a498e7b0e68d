#pragma once

#include "foundation/system/FileReplacement.h"

#include <cstdint>
#include <memory>
#include <string>
#include <utility>

namespace KBL {

/// What a download receives, on its way to the file that the host has named. That file appears, or is
/// replaced, once all has come: until then a small body waits in memory, and a larger one on the same disk.
/// A target that can't be replaced, a device or a file of somebody else's for example, is written in place at
/// the end. One thread at a time.
class DownloadFile {
 public:
  /// `path` is in the system's narrow encoding.
  explicit DownloadFile(std::string path) : path_(std::move(path)) {}

  /// Takes note that so many bytes are to come. False when the disk has no room for them.
  [[nodiscard]] bool expect(std::uint64_t bytes);
  /// Takes a piece of the body. False when the disk can't.
  [[nodiscard]] bool take(const char* data, std::size_t size);
  /// The body is whole: gives it to the target. Once. False when that can't be.
  [[nodiscard]] bool store();
  /// Lets go of what was received and not stored.
  void drop();
  /// What the disk has refused, in the words for the host; null as long as it has not.
  [[nodiscard]] const char* fault() const { return fault_; }

 private:
  void leaveMemory();
  [[nodiscard]] bool flush();
  [[nodiscard]] bool keep(const char* data, std::size_t size);
  [[nodiscard]] bool storeInPlace();
  [[nodiscard]] bool hasRoomInPlace() const;
  bool fail(const char* fault);

  const std::string path_;
  std::string memory_;                             // what was taken last, or all of it
  std::unique_ptr<System::FileReplacement> disk_;  // null while all is in memory
  std::uint64_t keptBytes_ = 0;                    // on the disk
  bool staysInMemory_ = false;
  const char* fault_ = nullptr;
};

}  // namespace KBL
