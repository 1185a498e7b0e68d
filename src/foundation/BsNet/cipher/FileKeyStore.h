#pragma once

#include <BsNet/cipher.h>

namespace KBL {

/// Bytes of the cipher's key: two AES-256 keys.
inline constexpr std::size_t cipherKeyBytes = 64;

/// The key in a file for its owner only. Safe against other processes and threads on the same file. A file
/// that holds no key, or one that this user's system cannot unprotect, is put aside under a name of its own,
/// since it may be the only copy of a key that another user or system can read; a new key takes its place.
class FileKeyStore final : public IKeyStore {
 public:
  explicit FileKeyStore(std::string directory);
  std::vector<unsigned char> loadOrCreateKey() override;

 private:
  enum class State { good, missing, damaged, unreadable };
  struct Stored {
    State state;
    std::vector<unsigned char> key;
  };

  /// `news` is for the log, once no lock is held.
  [[nodiscard]] Stored loadOrCreate(std::string& news) const;
  [[nodiscard]] Stored load() const;
  [[nodiscard]] bool putAside(std::string& news) const;
  [[nodiscard]] bool create() const;

  std::string directory_;
  std::string path_;
};

}  // namespace KBL
