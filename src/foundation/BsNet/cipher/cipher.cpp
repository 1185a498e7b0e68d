#include "foundation/BsNet/cipher/FileKeyStore.h"
#include "foundation/Texts.h"
#include "foundation/neverFreed.h"
#include "foundation/system/System.h"
#include <BsNet/cipher.h>

#include <mbedtls/aes.h>
#include <mbedtls/platform_util.h>

#include <algorithm>
#include <array>
#include <mutex>
#include <new>
#include <utility>

namespace KBL {
namespace {

constexpr unsigned blockBytes = 16;
/// Each piece of this size is a data unit of its own, numbered from 0.
constexpr unsigned dataUnitBytes = 512;

struct Keeper {
  std::mutex mutex;
  std::shared_ptr<IKeyStore> store;
  CipherKey key;
};

// Workers may still save while the process ends.
Keeper& keeper() {
  static Keeper& instance = neverFreed<Keeper>();
  return instance;
}

std::shared_ptr<IKeyStore> installedStore() {
  const std::lock_guard lock(keeper().mutex);
  if (keeper().store == nullptr) keeper().store = makeFileKeyStore(defaultKeyDirectory());
  return keeper().store;
}

CipherKey rememberedKey() {
  const std::lock_guard lock(keeper().mutex);
  return keeper().key;
}

void remember(const CipherKey& key, const std::shared_ptr<IKeyStore>& store) {
  const std::lock_guard lock(keeper().mutex);
  if (keeper().store == store) keeper().key = key;
}

/// What the store has; nothing when it fails, by an exception as well.
std::vector<unsigned char> askStore(IKeyStore& store) {
  try {
    return store.loadOrCreateKey();
  } catch (...) {
    return {};
  }
}

class Xts {
 public:
  Xts() { mbedtls_aes_xts_init(&context_); }
  ~Xts() { mbedtls_aes_xts_free(&context_); }
  Xts(const Xts&) = delete;
  Xts& operator=(const Xts&) = delete;

  [[nodiscard]] bool setKey(const unsigned char* key, int mode) {
    constexpr unsigned bits = cipherKeyBytes * 8;
    return (mode == MBEDTLS_AES_ENCRYPT ? mbedtls_aes_xts_setkey_enc(&context_, key, bits)
                                        : mbedtls_aes_xts_setkey_dec(&context_, key, bits)) == 0;
  }

  [[nodiscard]] bool run(int mode, const char* input, char* output, unsigned size) {
    for (unsigned done = 0; done < size;) {
      const unsigned bytes = std::min(dataUnitBytes, size - done);
      const bool isDone =
          mbedtls_aes_crypt_xts(&context_, mode, bytes, unitNumber(done / dataUnitBytes).data(),
                                reinterpret_cast<const unsigned char*>(input) + done,
                                reinterpret_cast<unsigned char*>(output) + done) == 0;
      if (!isDone) return false;
      done += bytes;
    }
    return true;
  }

 private:
  static std::array<unsigned char, blockBytes> unitNumber(unsigned number) {
    std::array<unsigned char, blockBytes> bytes{};
    for (unsigned i = 0; i < 4; ++i) bytes[i] = static_cast<unsigned char>(number >> (8 * i));
    return bytes;
  }

  mbedtls_aes_xts_context context_;
};

bool isRightCall(const char* input, const char* output, unsigned size) {
  return input != nullptr && output != nullptr && size >= blockBytes && size % blockBytes == 0;
}

_Result crypt(int mode, const unsigned char* key, const char* input, char* output, unsigned size) {
  if (key == nullptr || !isRightCall(input, output, size)) return resultFailed;
  Xts cipher;
  return cipher.setKey(key, mode) && cipher.run(mode, input, output, size) ? resultOk : resultFailed;
}

/// Of each byte the two digits. A file of many users has millions of them.
constexpr auto digitsOfBytes = [] {
  std::array<std::array<char, 2>, 256> digits{};
  for (unsigned byte = 0; byte < digits.size(); ++byte) {
    writeHex(digits[byte].begin(), static_cast<unsigned char>(byte));
  }
  return digits;
}();

/// A letter that is no digit counts as 0.
int valueOfDigit(char digit) {
  return std::max(hexValue(digit), 0);
}

}  // namespace

/// The key's bytes, wiped when they go.
class CipherKey::Bytes {
 public:
  explicit Bytes(std::vector<unsigned char> bytes) : bytes_(std::move(bytes)) {}
  Bytes(const Bytes&) = delete;
  Bytes& operator=(const Bytes&) = delete;
  ~Bytes() { mbedtls_platform_zeroize(bytes_.data(), bytes_.size()); }

  [[nodiscard]] bool areUsable() const { return bytes_.size() == cipherKeyBytes; }
  [[nodiscard]] const unsigned char* data() const { return bytes_.data(); }

 private:
  std::vector<unsigned char> bytes_;
};

CipherKey::CipherKey() = default;
CipherKey::~CipherKey() = default;
CipherKey::CipherKey(const CipherKey&) = default;
CipherKey& CipherKey::operator=(const CipherKey&) = default;

CipherKey CipherKey::current() {
  CipherKey key = rememberedKey();
  if (key) return key;
  const auto store = installedStore();
  auto bytes = std::make_shared<const Bytes>(askStore(*store));
  if (!bytes->areUsable()) return key;
  key.bytes_ = std::move(bytes);
  remember(key, store);
  return key;
}

_Result CipherKey::encrypt(const char* input, char* output, unsigned size) const {
  return crypt(MBEDTLS_AES_ENCRYPT, bytes_ == nullptr ? nullptr : bytes_->data(), input, output, size);
}

_Result CipherKey::decrypt(const char* input, char* output, unsigned size) const {
  return crypt(MBEDTLS_AES_DECRYPT, bytes_ == nullptr ? nullptr : bytes_->data(), input, output, size);
}

namespace {
using KeyOperation = _Result (CipherKey::*)(const char*, char*, unsigned) const;

_Result withCurrentKey(KeyOperation operation, const char* input, char* output, unsigned size) {
  if (!isRightCall(input, output, size)) return resultFailed;
  try {
    return (CipherKey::current().*operation)(input, output, size);
  } catch (...) {
    return resultFailed;
  }
}
}  // namespace

_Result aes256Encrypt(const char* input, char* output, unsigned size) {
  return withCurrentKey(&CipherKey::encrypt, input, output, size);
}

_Result aes256Decrypt(const char* input, char* output, unsigned size) {
  return withCurrentKey(&CipherKey::decrypt, input, output, size);
}

char* hexStr2Bytes(const char* text, int length) {
  if (text == nullptr) return nullptr;
  const auto bytes = static_cast<std::size_t>(std::max(length, 0)) / 2;
  auto* const result = new (std::nothrow) char[bytes + 1]{};
  for (std::size_t i = 0; result != nullptr && i < bytes; ++i) {
    result[i] = static_cast<char>(valueOfDigit(text[2 * i]) * 16 + valueOfDigit(text[2 * i + 1]));
  }
  return result;
}

// NOLINTNEXTLINE(readability-non-const-parameter): the interface fixes the signature
void Bytes2HexStr(unsigned char* bytes, int length, unsigned char* output) {
  if (output == nullptr) return;
  const auto count = bytes == nullptr ? 0 : static_cast<std::size_t>(std::max(length, 0));
  auto* text = reinterpret_cast<char*>(output);
  for (std::size_t i = 0; i < count; ++i) text = std::copy_n(digitsOfBytes[bytes[i]].data(), 2, text);
  *text = '\0';
}

void setKeyStore(std::shared_ptr<IKeyStore> store) {
  // The former store is destroyed outside the lock: it is the host's.
  const std::lock_guard lock(keeper().mutex);
  keeper().store.swap(store);
  keeper().key = CipherKey();
}

std::shared_ptr<IKeyStore> makeFileKeyStore(const std::string& directory) {
  return std::make_shared<FileKeyStore>(directory);
}

std::string defaultKeyDirectory() {
  return System::userDataDirectory();
}

}  // namespace KBL
