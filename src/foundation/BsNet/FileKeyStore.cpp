#include "foundation/BsNet/FileKeyStore.h"

#include "foundation/BsNet/system/KeyFileSystem.h"
#include "foundation/KblUtils/FileUtil.h"
#include "foundation/KblUtils/StringUtil.h"

#include <mbedtls/ctr_drbg.h>
#include <mbedtls/entropy.h>
#include <mbedtls/platform_util.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <system_error>
#include <utility>

namespace KBL {
namespace {

/// A random key, empty when the system's source of randomness fails.
std::string randomKey() {
  mbedtls_entropy_context entropy;
  mbedtls_ctr_drbg_context generator;
  mbedtls_entropy_init(&entropy);
  mbedtls_ctr_drbg_init(&generator);
  std::string key(cipherKeyBytes, '\0');
  const bool isMade =
      mbedtls_ctr_drbg_seed(&generator, mbedtls_entropy_func, &entropy, nullptr, 0) == 0 &&
      mbedtls_ctr_drbg_random(&generator, reinterpret_cast<unsigned char*>(key.data()), key.size()) == 0;
  mbedtls_ctr_drbg_free(&generator);
  mbedtls_entropy_free(&entropy);
  return isMade ? key : "";
}

std::string freshName(const std::string& path) {
  char unique[64] = {};
  KblGenerateUuid(unique);
  return path + "." + unique;
}

std::filesystem::path nativePath(const std::string& utf8) {
  return std::filesystem::path(std::u8string(utf8.begin(), utf8.end()));
}

}  // namespace

FileKeyStore::FileKeyStore(std::string directory)
    : directory_(std::move(directory)), path_(directory_ + "/cipher.key") {}

std::vector<unsigned char> FileKeyStore::loadOrCreateKey() {
  try {
    if (directory_.empty() || !FileUtil::makePrivateDirectory(Path(directory_))) return {};
    Stored stored = load();
    if (stored.state == State::good) return stored.key;

    const System::FileLock lock(path_ + ".lock");
    stored = load();
    if (stored.state == State::good || stored.state == State::unreadable) return stored.key;
    return create(stored.state) ? load().key : std::vector<unsigned char>();
  } catch (...) {
    return {};
  }
}

FileKeyStore::Stored FileKeyStore::load() const {
  const std::filesystem::path file = nativePath(path_);
  std::error_code failure;
  if (!std::filesystem::exists(file, failure)) return {failure ? State::unreadable : State::missing, {}};
  // A copy that was restored from a backup may be readable by others.
  std::filesystem::permissions(file, std::filesystem::perms::owner_read | std::filesystem::perms::owner_write,
                               failure);

  std::ifstream stream(file, std::ios::binary);
  if (!stream.is_open()) return {State::unreadable, {}};
  std::string contents{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
  std::optional<std::string> key = System::unprotectKey(contents);
  mbedtls_platform_zeroize(contents.data(), contents.size());
  if (!key.has_value() || key->size() != cipherKeyBytes) return {State::damaged, {}};
  Stored stored{State::good, {key->begin(), key->end()}};
  mbedtls_platform_zeroize(key->data(), key->size());
  return stored;
}

/// True when a key stands afterwards, made here or by another process that was faster. A damaged key is lost,
/// with what it enciphered; it is replaced in one step, since others may be reading.
bool FileKeyStore::create(State former) const {
  std::string key = randomKey();
  if (key.empty()) return false;
  const std::optional<std::string> contents = System::protectKey(key);
  mbedtls_platform_zeroize(key.data(), key.size());
  if (!contents.has_value()) return false;
  if (former == State::damaged) return FileUtil::writePrivateFile(Path(path_), *contents);
  const std::string beside = freshName(path_);
  if (!FileUtil::writePrivateFile(Path(beside), *contents)) return false;
  return System::publishNewFile(beside, path_) || FileUtil::exists(Path(path_));
}

}  // namespace KBL
