#pragma once

#include "support/EventLog.h"
#include <ExternlMediaTransfer/ExternlMediaTransfer.h>
#include <ExternlMediaTransfer/HostRecords.h>
#include <KblUtils/RefPtr.h>

#include <memory>
#include <string>

// A small host, built on the exports alone.

/// Where somebody is signed in, and his id there.
struct SignIn {
  KBL::ExternlMediaPlatform platform = KBL::ema_youtube;
  std::string accountUid;
};

/// A manager of one platform with one signed-in user.
class SignedInManager {
 public:
  /// The cache goes to `cacheDir`. With an empty platform token nobody is signed in.
  SignedInManager(const std::string& cacheDir, const std::string& platformToken, const SignIn& signIn = {});

  /// Replaces the user's platform token, as a refresh does.
  void replaceToken(const std::string& platformToken) const;
  /// Gives the host's reference back.
  void release() { manager_.reset(); }

  KBL::IBsExternlMediaAuthorize* operator->() const { return manager_.get(); }

 private:
  void learnToken(const std::string& uuid, const std::string& platformToken) const;

  const std::string accountUid_;
  KBL::RefPtr<KBL::IBsExternlMediaAuthorize> manager_;
};

/// A private upload of `path` for the user who signed in last.
[[nodiscard]] std::unique_ptr<KBL::hostTransferRecord> makeUploadJob(const std::string& path);

/// A transfer that reports to `log`, with a job for `path`; to YouTube unless a number of
/// `createEMTUpTransfer` is given.
[[nodiscard]] KBL::RefPtr<KBL::IExternlMediaTransfer> makeUpload(EventLog& log, const std::string& path,
                                                                 int transferPlatform = 1);
