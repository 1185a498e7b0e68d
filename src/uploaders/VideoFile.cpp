#include "uploaders/VideoFile.h"

#include "foundation/BsNet/Result.h"
#include "foundation/KblUtils/FileUtil.h"

namespace KBL {

FileFault openVideoFile(const std::string& path, FileStream& file) {
  if (!FileUtil::exists(Path(path))) return {ErrorCode::fileNotExist, path + ", not exist"};
  if (!file.open(Path(path), "rb")) return {ErrorCode::fileOpenFailed, path + ", open failed"};
  if (file.size() == 0) return {ErrorCode::fileEmpty, path + ", empty file"};
  return {};
}

FileFault openVideoFile(const std::string& path, FileStream& file, const FileLimit& limit) {
  FileFault fault = openVideoFile(path, file);
  if (fault.code != ErrorCode::none || file.size() < limit.bytes) return fault;
  return {ErrorCode::fileTooLarge, path + ", limit " + limit.text};
}

}  // namespace KBL
