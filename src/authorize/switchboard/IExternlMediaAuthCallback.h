#pragma once

#include "foundation/BsNet/IBsRequstCallback.h"

#include <string>

namespace KBL {

/// What a host implements to hear of logins and tokens. Owned by the host, not counted. Called on worker and
/// timer threads, several may call at once; texts are UTF-8 and borrowed for the call. `queryResponse` brings
/// the answers of logins (type 400), refreshes (401), verifications (402), consume queries (404) and local
/// errors of uploads (406).
class IExternlMediaAuthCallback : public virtual IBsRequstCallback {
 public:
  /// A request that was told to notify has ended.
  virtual void onRequestFinished(const std::string& uuid) = 0;
  /// The address to open in a browser.
  virtual void onLoginUrl(const char* uuid, const char* url) = 0;
  /// The address to show when the login has ended well.
  virtual void onLoginCallbackUrl(const char* uuid, const char* url) = 0;
  /// The platform token of the user has changed; tokens are secrets.
  virtual void onAccessTokenChanged(const char* uuid, const char* oldToken, const char* newToken) = 0;

 protected:
  ~IExternlMediaAuthCallback() = default;
};

}  // namespace KBL
