#pragma once

#include "foundation/BsNet/cipher.h"

namespace KBL {

/// Bytes of the cipher's key: two AES-256 keys.
inline constexpr std::size_t cipherKeyBytes = 64;

/// The key in a file for its owner only. Safe against other processes and threads on the same file.
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

  [[nodiscard]] Stored load() const;
  [[nodiscard]] bool create(State former) const;

  std::string directory_;
  std::string path_;
};

}  // namespace KBL
