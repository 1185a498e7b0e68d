#pragma once

#include "authorize/AuthorizeCache.h"
#include "authorize/AuthorizeLogin.h"
#include "authorize/AuthorizeTokens.h"
#include "authorize/ManagerState.h"
#include <ExternlMediaTransfer/RecordInterfaces.h>

#include <string>

namespace KBL {

/// What a host asks of a signed-in user: profile, token, consume query, upload, logout. An empty uuid is the
/// user who signed in last. Any thread.
class AuthorizeUsers {
 public:
  AuthorizeUsers(ManagerState& state, AuthorizeCache& cache, AuthorizeTokens& tokens, AuthorizeLogin& login)
      : state_(state), cache_(cache), tokens_(tokens), login_(login) {}

  [[nodiscard]] _Result userInfo(const std::string& uuid, IBsExternlMediaAuthUserInfo& out) const;
  /// The platform token, cut to 8192 characters; empty when there is none.
  [[nodiscard]] std::string accessToken(const std::string& uuid) const;
  /// The same into a buffer (may be null) that takes the stored length.
  [[nodiscard]] _Result getAccessToken(const std::string& uuid, char* buffer) const;
  /// Ends every login of the platform, whichever user it signs out.
  [[nodiscard]] _Result logout(const std::string& wanted);
  [[nodiscard]] _Result consume(IBsInfoReader* consumeInfo);
  /// The end of a request of a consume query.
  void processConsumeAnswer(IBsBaseRequest* request, IBsInfoReader* info, IBsErrorInfo* error);
  /// Starts the chain of requests that every native upload runs, for the user whom `info` names; `callback`
  /// (null allowed, not counted) hears of each, and a nonzero `consume` puts the usage-entitlement query
  /// before the upload. What keeps it from starting is told to the host.
  void upload(IBsExternlMediaUploadInfo* info, IBsRequstCallback* callback, int consume);

 private:
  /// Takes the user out of the list; the uuid of who has gone, or empty.
  [[nodiscard]] std::string removeUser(const std::string& wanted);

  ManagerState& state_;
  AuthorizeCache& cache_;
  AuthorizeTokens& tokens_;
  AuthorizeLogin& login_;
};

}  // namespace KBL
