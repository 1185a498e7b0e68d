// AES-256 in XTS mode by OpenSSL, with the key of the store that the host sets; and hexadecimal digits.
#include <BsNet/cipher.h>

#include <openssl/crypto.h>
#include <openssl/evp.h>

#include <algorithm>
#include <array>
#include <mutex>
#include <utility>

namespace KBL {

namespace {

constexpr std::size_t keyBytes = 64;
constexpr unsigned unitBytes = 4096;  // each piece of this size is enciphered by itself, under its number

struct Keeper {
  std::mutex mutex;
  std::shared_ptr<IKeyStore> store;
  CipherKey key;
};

/// Never freed: threads may save while the process ends.
Keeper& keeper() {
  static auto& instance = *new Keeper;
  return instance;
}

struct EndContext {
  void operator()(EVP_CIPHER_CTX* context) const { EVP_CIPHER_CTX_free(context); }
};

_Result crypt(int isEncryption, const unsigned char* key, const char* input, char* output, unsigned size) {
  if (key == nullptr || input == nullptr || output == nullptr || size < 16 || size % 16 != 0) {
    return resultFailed;
  }
  const std::unique_ptr<EVP_CIPHER_CTX, EndContext> context(EVP_CIPHER_CTX_new());
  for (unsigned done = 0; done < size; done += unitBytes) {
    const unsigned number = done / unitBytes;
    std::array<unsigned char, 16> tweak{};
    for (unsigned at = 0; at < 4; ++at) tweak[at] = static_cast<unsigned char>(number >> (8 * at));
    const int count = static_cast<int>((std::min)(unitBytes, size - done));
    int written = 0;
    if (!context ||
        EVP_CipherInit_ex(context.get(), EVP_aes_256_xts(), nullptr, key, tweak.data(), isEncryption) != 1 ||
        EVP_CipherUpdate(context.get(), reinterpret_cast<unsigned char*>(output) + done, &written,
                         reinterpret_cast<const unsigned char*>(input) + done, count) != 1 ||
        written != count) {
      return resultFailed;
    }
  }
  return resultOk;
}

int valueOf(char digit) {
  if (digit >= '0' && digit <= '9') return digit - '0';
  if (digit >= 'a' && digit <= 'f') return digit - 'a' + 10;
  return digit >= 'A' && digit <= 'F' ? digit - 'A' + 10 : 0;
}

}  // namespace

/// The key's bytes, wiped when they go.
class CipherKey::Bytes {
 public:
  explicit Bytes(std::vector<unsigned char> bytes) : all(std::move(bytes)) {}
  Bytes(const Bytes&) = delete;
  Bytes& operator=(const Bytes&) = delete;
  ~Bytes() { OPENSSL_cleanse(all.data(), all.size()); }

  std::vector<unsigned char> all;
};

CipherKey::CipherKey() = default;
CipherKey::~CipherKey() = default;
CipherKey::CipherKey(const CipherKey&) = default;
CipherKey& CipherKey::operator=(const CipherKey&) = default;

CipherKey CipherKey::current() {
  std::shared_ptr<IKeyStore> store;
  {
    const std::lock_guard<std::mutex> lock(keeper().mutex);
    if (keeper().key || !keeper().store) return keeper().key;
    store = keeper().store;
  }
  std::vector<unsigned char> bytes;
  try {
    bytes = store->loadOrCreateKey();  // the host's: without the lock
  } catch (const std::exception&) {
    return {};
  }
  CipherKey key;
  if (bytes.size() != keyBytes) return key;
  key.bytes_ = std::make_shared<Bytes>(std::move(bytes));
  const std::lock_guard<std::mutex> lock(keeper().mutex);
  if (keeper().store == store) keeper().key = key;
  return key;
}

_Result CipherKey::encrypt(const char* input, char* output, unsigned size) const {
  return crypt(1, bytes_ ? bytes_->all.data() : nullptr, input, output, size);
}

_Result CipherKey::decrypt(const char* input, char* output, unsigned size) const {
  return crypt(0, bytes_ ? bytes_->all.data() : nullptr, input, output, size);
}

char* hexStr2Bytes(const char* text, int length) {
  if (text == nullptr) return nullptr;
  const std::size_t count = static_cast<std::size_t>((std::max)(length, 0)) / 2;
  auto* const bytes = new (std::nothrow) char[count + 1]{};
  for (std::size_t at = 0; bytes != nullptr && at < count; ++at) {
    bytes[at] = static_cast<char>(valueOf(text[2 * at]) * 16 + valueOf(text[2 * at + 1]));
  }
  return bytes;
}

void Bytes2HexStr(unsigned char* bytes, int length, unsigned char* output) {
  if (output == nullptr) return;
  for (int at = 0; bytes != nullptr && at < length; ++at) {
    *output++ = static_cast<unsigned char>("0123456789abcdef"[bytes[at] >> 4]);
    *output++ = static_cast<unsigned char>("0123456789abcdef"[bytes[at] & 15]);
  }
  *output = '\0';
}

// For the host; the library does without.
void setKeyStore(std::shared_ptr<IKeyStore> store) {
  const std::lock_guard<std::mutex> lock(keeper().mutex);
  keeper().store.swap(store);
  keeper().key = CipherKey();
}

}  // namespace KBL
