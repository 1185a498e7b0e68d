#pragma once

// What `queryResponse` brings.
#include <BsNet/IBsBaseRequest.h>
#include <BsNet/IBsErrorInfo.h>
#include <BsNet/IBsInfoReader.h>
#include <BsNet/IBsRequstCallback.h>

#include <string>

namespace KBL {

/// What a host implements to hear of logins and tokens. Owned by the host, not counted; it may go once
/// `removeAuthCallback` has returned outside a callback. Called on worker and timer threads, and by an
/// operation that refuses at once on the caller's own; several may call at once. A call that throws counts as
/// one that returned. Texts are UTF-8 and borrowed for the call. `queryResponse` brings
/// the answers of logins (type 400), refreshes (401), verifications (402), consume queries (404) and local
/// errors of uploads (406).
class IExternlMediaAuthCallback : public virtual IBsRequstCallback {
 public:
  /// A request that was told to notify has ended. No flow of today tells one to; an empty body will do.
  virtual void onRequestFinished(const std::string& uuid) = 0;
  /// The address to open in a browser. It comes from a server: open nothing but http and https.
  virtual void onLoginUrl(const char* uuid, const char* url) = 0;
  /// The address to show when the login has ended well.
  virtual void onLoginCallbackUrl(const char* uuid, const char* url) = 0;
  /// The platform token of the user was stored and has changed, by a login (also by one that was canceled
  /// meanwhile) or a refresh; tokens are secrets.
  virtual void onAccessTokenChanged(const char* uuid, const char* oldToken, const char* newToken) = 0;

 protected:
  ~IExternlMediaAuthCallback() = default;
};

}  // namespace KBL
