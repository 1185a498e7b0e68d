#include "foundation/BsNet/cipher.h"

#include "foundation/BsNet/FileKeyStore.h"
#include "foundation/BsNet/system/KeyFileSystem.h"

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

/// A key in memory, wiped when it goes.
class Key {
 public:
  Key() = default;
  explicit Key(std::vector<unsigned char> bytes) : bytes_(std::move(bytes)) {}
  Key(const Key&) = default;
  Key(Key&& other) noexcept : bytes_(std::exchange(other.bytes_, {})) {}
  Key& operator=(Key other) noexcept {
    bytes_.swap(other.bytes_);
    return *this;
  }
  ~Key() { mbedtls_platform_zeroize(bytes_.data(), bytes_.size()); }

  [[nodiscard]] bool isUsable() const { return bytes_.size() == cipherKeyBytes; }
  [[nodiscard]] const unsigned char* data() const { return bytes_.data(); }

 private:
  std::vector<unsigned char> bytes_;
};

struct Keeper {
  std::mutex mutex;
  std::shared_ptr<IKeyStore> store;
  Key key;
};

// Never freed: workers may still save while the process ends.
Keeper& keeper() {
  static auto* const instance = new Keeper;
  return *instance;
}

std::shared_ptr<IKeyStore> installedStore() {
  const std::lock_guard lock(keeper().mutex);
  if (keeper().store == nullptr) keeper().store = makeFileKeyStore(defaultKeyDirectory());
  return keeper().store;
}

Key rememberedKey() {
  const std::lock_guard lock(keeper().mutex);
  return keeper().key;
}

Key currentKey() {
  Key key = rememberedKey();
  if (key.isUsable()) return key;
  const auto store = installedStore();
  key = Key(store->loadOrCreateKey());
  const std::lock_guard lock(keeper().mutex);
  if (key.isUsable() && keeper().store == store) keeper().key = key;
  return key;
}

class Xts {
 public:
  Xts() { mbedtls_aes_xts_init(&context_); }
  ~Xts() { mbedtls_aes_xts_free(&context_); }
  Xts(const Xts&) = delete;
  Xts& operator=(const Xts&) = delete;

  [[nodiscard]] bool setKey(const Key& key, int mode) {
    constexpr unsigned bits = cipherKeyBytes * 8;
    return (mode == MBEDTLS_AES_ENCRYPT ? mbedtls_aes_xts_setkey_enc(&context_, key.data(), bits)
                                        : mbedtls_aes_xts_setkey_dec(&context_, key.data(), bits)) == 0;
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

_Result crypt(int mode, const char* input, char* output, unsigned size) {
  if (input == nullptr || output == nullptr || size < blockBytes || size % blockBytes != 0)
    return resultFailed;
  try {
    const Key key = currentKey();
    Xts cipher;
    if (!key.isUsable() || !cipher.setKey(key, mode)) return resultFailed;
    return cipher.run(mode, input, output, size) ? resultOk : resultFailed;
  } catch (...) {
    return resultFailed;
  }
}

int valueOfDigit(char digit) {
  if (digit >= '0' && digit <= '9') return digit - '0';
  if (digit >= 'a' && digit <= 'f') return digit - 'a' + 10;
  if (digit >= 'A' && digit <= 'F') return digit - 'A' + 10;
  return 0;
}

}  // namespace

_Result aes256Encrypt(const char* input, char* output, unsigned size) {
  return crypt(MBEDTLS_AES_ENCRYPT, input, output, size);
}

_Result aes256Decrypt(const char* input, char* output, unsigned size) {
  return crypt(MBEDTLS_AES_DECRYPT, input, output, size);
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
  constexpr char digits[] = "0123456789abcdef";
  const auto count = bytes == nullptr ? 0 : static_cast<std::size_t>(std::max(length, 0));
  for (std::size_t i = 0; i < count; ++i) {
    output[2 * i] = static_cast<unsigned char>(digits[bytes[i] >> 4]);
    output[2 * i + 1] = static_cast<unsigned char>(digits[bytes[i] & 15]);
  }
  output[2 * count] = 0;
}

void setKeyStore(std::shared_ptr<IKeyStore> store) {
  // The former store is destroyed outside the lock: it is the host's.
  const std::lock_guard lock(keeper().mutex);
  keeper().store.swap(store);
  keeper().key = Key();
}

std::shared_ptr<IKeyStore> makeFileKeyStore(const std::string& directory) {
  return std::make_shared<FileKeyStore>(directory);
}

std::string defaultKeyDirectory() {
  return System::userDataDirectory();
}

}  // namespace KBL
