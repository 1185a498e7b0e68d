#pragma once

#include "host/DataFolders.h"

#include <string>

namespace host {

/// Whether a file of the size of logins can be written there, which is taken away again.
[[nodiscard]] bool folderTakesAFile(const std::string& folder);

/// The file in which a platform's logins are kept, looked at from outside. The library takes a file that it
/// cannot read for an empty one and does not tell when it cannot write; people have to hear of both.
class LoginFile {
 public:
  /// `fileName` stands in the cache folder of `folders`.
  LoginFile(const DataFolders& folders, const std::string& fileName);

  /// Throws Failure when the file is there and cannot be read.
  void requireReadable() const;
  /// Throws Failure unless folder, disk and key would take a login now.
  void requireWritable() const;

  /// From now on `isWritten` tells whether somebody has written the file.
  void watch();
  [[nodiscard]] bool isWritten() const;

  [[nodiscard]] const std::string& path() const { return path_; }

 private:
  DataFolders folders_;
  std::string path_;
  std::string watched_;
};

}  // namespace host
