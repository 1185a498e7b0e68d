#pragma once

#include "foundation/KblUtils/FileStream.h"

#include <string>

namespace KBL {

/// What is wrong with a local file, as uploads report it; code 0 when nothing is.
struct FileFault {
  int code = 0;
  std::string message;
};

/// Opens the file of an upload (UTF-8 path) and makes sure that it holds something.
[[nodiscard]] FileFault openVideoFile(const std::string& path, FileStream& file);

}  // namespace KBL
