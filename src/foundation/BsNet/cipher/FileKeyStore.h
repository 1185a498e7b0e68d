#pragma once

#include "foundation/system/System.h"
#include <BsNet/cipher.h>

#include <functional>
#include <mutex>
#include <string>
#include <vector>

namespace KBL {

/// Bytes of the cipher's key: two AES-256 keys.
inline constexpr std::size_t cipherKeyBytes = 64;

/// The key in a file for its owner only. Safe against other processes and threads on the same file. A file
/// that holds no key is put aside under a name of its own, since it may be the only copy of a key that
/// another user or system can read; a new key takes its place. One that the system cannot unprotect now
/// stays, and there is no key until it can.
class FileKeyStore final : public IKeyStore {
 public:
  using Unprotect = std::function<System::UnprotectedKey(const std::string& stored)>;

  explicit FileKeyStore(std::string directory, Unprotect unprotect = &System::unprotectKey);
  std::vector<unsigned char> loadOrCreateKey() override;

 private:
  enum class State { good, missing, damaged, sealed, unreadable };
  struct Stored {
    State state;
    std::vector<unsigned char> key;
    std::string reason = {};  ///< of a sealed one
  };

  /// `news` is for the log, once no lock is held.
  [[nodiscard]] Stored loadOrCreate(std::string& news) const;
  [[nodiscard]] Stored load() const;
  [[nodiscard]] bool putAside(std::string& news) const;
  [[nodiscard]] bool create() const;
  /// What fails, fails with each use of the cipher: it is told once.
  void tell(const std::string& news);

  std::string directory_;
  std::string path_;
  Unprotect unprotect_;
  std::mutex toldMutex_;
  std::string told_;
};

}  // namespace KBL
