#pragma once

#include <ExternlMediaTransfer/ExternlMediaTransfer.h>

#include <string>

namespace KBL::host {

/// The embedded interpreter, for uploads to the platforms of scripts; once a process, made ahead of the first
/// of their uploads, and gone behind the last.
class Scripts {
 public:
  /// `home` (UTF-8) is the folder of the scripts. One without Python's standard library ends the process.
  explicit Scripts(std::string home) {
    if (!home.empty() && home.back() != '/' && home.back() != '\\') home += '/';
    isSetUp_ = setupTransferEnv(home.c_str(), 0) == resultOk;
  }
  /// Waits some seconds at most for scripts that run.
  ~Scripts() { teardownTransferEnv(); }
  Scripts(const Scripts&) = delete;
  Scripts& operator=(const Scripts&) = delete;

  /// False when memory was short. Whether an interpreter runs is told in the log alone.
  [[nodiscard]] bool isSetUp() const { return isSetUp_; }

 private:
  bool isSetUp_ = false;
};

}  // namespace KBL::host
