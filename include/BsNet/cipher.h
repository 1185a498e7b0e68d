#pragma once

#include <KblUtils/Export.h>
#include <KblUtils/Result.h>

#include <memory>
#include <string>
#include <vector>

namespace KBL {

/// Enciphers `size` bytes into `output` (`size` bytes, may be `input`) with AES-256 in XTS mode;
/// deterministic, same length. A null pointer, or a size below 16 or not a multiple of 16, returns
/// resultFailed and writes nothing, as does a key store that yields no key. Any thread.
KBL_BSNET_API _Result aes256Encrypt(const char* input, char* output, unsigned size);
KBL_BSNET_API _Result aes256Decrypt(const char* input, char* output, unsigned size);

/// The cipher's key in the hand of whoever has to encipher where no key store may be asked, under a lock for
/// one. Copies share the bytes, which are wiped with the last of them. Any thread.
class KBL_BSNET_API CipherKey {
 public:
  /// No key.
  CipherKey();
  ~CipherKey();
  CipherKey(const CipherKey&);
  CipherKey& operator=(const CipherKey&);
  /// The key of the installed store, which is asked unless its answer is remembered; no key when it has none.
  /// Throws for want of memory alone.
  [[nodiscard]] static CipherKey current();

  [[nodiscard]] explicit operator bool() const { return bytes_ != nullptr; }
  /// As `aes256Encrypt` and `aes256Decrypt`; resultFailed without a key. The store is not asked.
  _Result encrypt(const char* input, char* output, unsigned size) const;
  _Result decrypt(const char* input, char* output, unsigned size) const;

 private:
  class Bytes;
  std::shared_ptr<const Bytes> bytes_;
};

/// Bytes of a text of `length` hexadecimal digits, in a buffer of length / 2 + 1 bytes that the caller frees
/// with delete[]; a character that is no digit reads as 0, an odd last digit is dropped. Null for a null
/// text.
KBL_BSNET_API char* hexStr2Bytes(const char* text, int length);
/// Writes 2 * `length` lower-case digits and a terminator to `output`.
KBL_BSNET_API void Bytes2HexStr(unsigned char* bytes, int length, unsigned char* output);

/// Keeps the cipher's key. Implementations are called from any thread, on first use perhaps by several at
/// once, and must answer all of them with one key. What they answer is remembered until another store is set.
class KBL_INTERFACE IKeyStore {
 public:
  virtual ~IKeyStore() = default;
  /// The key of 64 bytes (two AES-256 keys, as XTS needs), made at random on first use; empty when it cannot
  /// be read or made. Two processes that make it at once end with one key.
  virtual std::vector<unsigned char> loadOrCreateKey() = 0;
};

/// Replaces the key store of the process; null restores the default: the file "cipher.key" for its owner only
/// in `defaultKeyDirectory()` (on Windows protected by the system's data protection call).
KBL_BSNET_API void setKeyStore(std::shared_ptr<IKeyStore> store);
/// The file key store in another directory, which is made with mode 0700 when it is missing. UTF-8 path.
KBL_BSNET_API std::shared_ptr<IKeyStore> makeFileKeyStore(const std::string& directory);
/// The library's folder among the user's data, without a final slash, UTF-8: "mediatransfer" in
/// $XDG_DATA_HOME or ~/.local/share, on Windows in the local application data. It need not exist; empty when
/// no home is known.
[[nodiscard]] KBL_BSNET_API std::string defaultKeyDirectory();

}  // namespace KBL
