#include "host/LoginFile.h"

#include "host/ScriptLogins.h"
#include "options/Failure.h"
#include "system/Files.h"
#include "system/Utf8Path.h"
#include <BsNet/cipher.h>
#include <KblUtils/FileUtil.h>
#include <KblUtils/Path.h>

#include <array>
#include <filesystem>
#include <system_error>

namespace host {
namespace {

/// What a cache file with its journal may take.
constexpr std::size_t roomOfLogins = std::size_t{64} << 10;

bool keyServes() {
  std::array<char, 16> block{};
  return KBL::aes256Encrypt(block.data(), block.data(), block.size()) == KBL::resultOk;
}

}  // namespace

bool folderTakesAFile(const std::string& folder) {
  const KBL::Path probe(folder + "/probe-" + newUserUuid());
  const bool isTaken = KBL::FileUtil::writePrivateFile(probe, std::string(roomOfLogins, '\0'));
  KBL::FileUtil::remove(probe);
  return isTaken;
}

LoginFile::LoginFile(const DataFolders& folders, const std::string& fileName)
    : folders_(folders), path_(folders.cache + "/" + fileName) {}

void LoginFile::requireReadable() const {
  std::error_code error;
  const std::filesystem::file_status status = std::filesystem::status(pathFromUtf8(path_), error);
  if (status.type() == std::filesystem::file_type::not_found) return;
  if (std::filesystem::is_regular_file(status) && opensForReading(path_)) return;
  throw Failure(Cause::file,
                "the logins in '" + path_ + "' cannot be read; check the rights or give --cache-dir DIR");
}

void LoginFile::requireWritable() const {
  if (!folderTakesAFile(folders_.cache)) {
    throw Failure(Cause::file, "the folder '" + folders_.cache +
                                   "' cannot be written; check its rights and the room on its disk, or "
                                   "give --cache-dir DIR");
  }
  if (!keyServes()) {
    throw Failure(Cause::file, "the key in '" + folders_.key +
                                   "' cannot be read, unsealed or made; check the folder's rights and "
                                   "the room on its disk, or move 'cipher.key' away and sign in again");
  }
}

void LoginFile::watch() {
  watched_ = contentsOf(path_);
}

// Each save changes the file: the database counts them in its head.
bool LoginFile::isWritten() const {
  const std::string now = contentsOf(path_);
  return !now.empty() && now != watched_;
}

}  // namespace host
