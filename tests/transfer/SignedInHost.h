#pragma once

#include "boundary/ExternlMediaTransfer.h"
#include "boundary/records/HostRecords.h"
#include "foundation/object/RefPtr.h"
#include "transfer/EventLog.h"

#include <memory>
#include <string>

// A small host, built on the exports alone.

/// A manager for YouTube with one signed-in user.
class SignedInManager {
 public:
  /// The cache goes to `cacheDir`. With an empty platform token nobody is signed in.
  SignedInManager(const std::string& cacheDir, const std::string& platformToken);

  /// Replaces the user's platform token, as a refresh does.
  void replaceToken(const std::string& platformToken) const;
  /// Gives the host's reference back.
  void release() { manager_.reset(); }

  KBL::IBsExternlMediaAuthorize* operator->() const { return manager_.get(); }

 private:
  void learnToken(const std::string& uuid, const std::string& platformToken) const;

  KBL::RefPtr<KBL::IBsExternlMediaAuthorize> manager_;
};

/// A private upload of `path` for the user who signed in last.
[[nodiscard]] std::unique_ptr<KBL::hostTransferRecord> makeUploadJob(const std::string& path);

/// A transfer to YouTube that reports to `log`, with a job for `path`.
[[nodiscard]] KBL::RefPtr<KBL::IExternlMediaTransfer> makeUpload(EventLog& log, const std::string& path);
