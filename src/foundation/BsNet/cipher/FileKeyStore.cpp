#include "foundation/BsNet/cipher/FileKeyStore.h"

#include "foundation/system/System.h"
#include <KblLogger/KblLogger.h>
#include <KblUtils/FileUtil.h>
#include <KblUtils/StringUtil.h>

#include <mbedtls/ctr_drbg.h>
#include <mbedtls/entropy.h>
#include <mbedtls/platform_util.h>

#include <cstdio>
#include <filesystem>
#include <system_error>
#include <utility>

namespace KBL {
namespace {

/// What is longer is no key, in whatever way a system protects it.
constexpr std::size_t largestKeyFile = 64U << 10;

/// Overwrites a text when it goes. The text may not move or grow meanwhile.
class Wipe {
 public:
  explicit Wipe(std::string& text) : text_(text) {}
  ~Wipe() { mbedtls_platform_zeroize(text_.data(), text_.size()); }
  Wipe(const Wipe&) = delete;
  Wipe& operator=(const Wipe&) = delete;

 private:
  std::string& text_;
};

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
  if (!isMade) key.clear();
  return key;
}

std::string freshName(const std::string& path) {
  char unique[64] = {};
  KblGenerateUuid(unique);
  return path + "." + unique;
}

/// Fills `contents`, which has its greatest size, and no buffer besides. False when the file cannot be read.
bool readFile(const std::string& path, std::string& contents) {
  const System::UniqueFile file = System::openFile(path, "rb");
  if (file == nullptr || std::setvbuf(file.get(), nullptr, _IONBF, 0) != 0) return false;
  contents.resize(std::fread(contents.data(), 1, contents.size(), file.get()));
  return std::ferror(file.get()) == 0;
}

}  // namespace

FileKeyStore::FileKeyStore(std::string directory, Unprotect unprotect)
    : directory_(std::move(directory)), path_(directory_ + "/cipher.key"), unprotect_(std::move(unprotect)) {}

std::vector<unsigned char> FileKeyStore::loadOrCreateKey() {
  try {
    if (directory_.empty() || !FileUtil::makePrivateDirectory(Path(directory_))) return {};
    Stored stored = load();
    if (stored.state == State::good) return std::move(stored.key);

    std::string news;
    stored = loadOrCreate(news);
    if (!news.empty()) tell(news);
    return std::move(stored.key);
  } catch (...) {
    return {};
  }
}

void FileKeyStore::tell(const std::string& news) {
  {
    const std::lock_guard lock(toldMutex_);
    if (news == told_) return;
    told_ = news;
  }
  KBL_LOG(severityError, news);
}

FileKeyStore::Stored FileKeyStore::loadOrCreate(std::string& news) const {
  const System::FileLock lock(path_ + ".lock");
  Stored stored = load();
  if (stored.state == State::good || stored.state == State::unreadable) return stored;
  if (stored.state == State::sealed) {
    news = "key file cannot be unsealed now (" + stored.reason + "), move it away to begin anew: " + path_;
    return stored;
  }
  if (stored.state == State::damaged) {
    // Unlocked it could be the fresh key of another process by now.
    if (!lock.isHeld()) news = "key file unusable, left alone without a lock: " + path_;
    if (!lock.isHeld() || !putAside(news)) return {State::unreadable, {}};
  }
  if (!create()) return {State::missing, {}};
  return load();
}

bool FileKeyStore::putAside(std::string& news) const {
  const std::string aside = freshName(path_ + ".unusable");
  // Whoever reads it without the lock ahead of making it anew may be in the way of another name.
  const bool isAside = System::replaceFile(path_, aside);
  news = isAside ? "key file unusable, put aside: " + aside : "key file unusable, left alone: " + path_;
  return isAside;
}

FileKeyStore::Stored FileKeyStore::load() const {
  const std::filesystem::path file = System::nativePath(path_);
  std::error_code failure;
  if (!std::filesystem::exists(file, failure)) return {failure ? State::unreadable : State::missing, {}};
  // A copy that was restored from a backup may be readable by others.
  std::filesystem::permissions(file, std::filesystem::perms::owner_read | std::filesystem::perms::owner_write,
                               failure);

  std::string contents(largestKeyFile, '\0');
  const Wipe wipeContents(contents);
  if (!readFile(path_, contents)) return {State::unreadable, {}};
  System::UnprotectedKey unprotected = unprotect_(contents);
  const std::string& key = unprotected.key;
  const Wipe wipeKey(unprotected.key);
  if (unprotected.state == System::UnprotectedKey::State::notNow)
    return {State::sealed, {}, std::move(unprotected.reason)};
  if (key.size() != cipherKeyBytes) return {State::damaged, {}};
  return {State::good, {key.begin(), key.end()}};
}

/// True when a key stands afterwards, made here or by another process that was faster.
bool FileKeyStore::create() const {
  std::string key = randomKey();
  const Wipe wipeKey(key);
  if (key.empty()) return false;
  std::string contents = System::protectKey(key).value_or("");
  const Wipe wipeContents(contents);
  if (contents.empty()) return false;
  const std::string beside = freshName(path_);
  if (!FileUtil::writePrivateFile(Path(beside), contents)) return false;
  return System::publishNewFile(beside, path_) || FileUtil::exists(Path(path_));
}

}  // namespace KBL
