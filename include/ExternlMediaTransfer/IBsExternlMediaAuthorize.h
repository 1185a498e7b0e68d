#pragma once

#include <BsNet/createInfoObject.h>
#include <ExternlMediaTransfer/RecordInterfaces.h>

namespace KBL {

class IExternlMediaAuthCallback;

/// The authorization manager of one platform: users, logins and tokens. Made by
/// `getOrCreateExternlMediaAuthorize`; the creator owns its one reference, other callers borrow. Any host
/// thread may call; the host adds its callbacks before it starts a flow and removes them after all flows
/// ended. Real outcomes come asynchronously through the callbacks. Name for QueryInterfaceByName:
/// "IBsExternlMediaAuthorize".
///
/// No operation throws: where memory is short it answers resultFailed.
///
/// `AddRef` and `Release` count the host's references alone. The last `Release` gives 0, on whichever thread,
/// also within a callback, and also while a worker is inside one: from then on no callback begins, and
/// `getOrCreateExternlMediaAuthorize` makes a new manager. It takes a tenth of a second for each user whose
/// token is being refreshed and waits for no callback that runs; the pointer stays readable until that one
/// returns. When the manager that was made last ends, the workers
/// of all others fall silent, too, until a further manager is made: release the managers in the order of
/// their making.
class IBsExternlMediaAuthorize : public virtual IDmBaseObj {
 public:
  /// Loads the users of `cacheDir` (UTF-8; made when missing) and stores the interval of the background
  /// refresh in milliseconds, clamped into 900000 to 3300000. An unreadable cache is no error: no user is
  /// signed in then. A file that another process, the rights, the disk or a missing key keeps away is left
  /// alone, and read by the first save that can. A locked file is waited for 5 s at most, here and in a save.
  /// resultFailed for a null directory.
  virtual _Result init(const char* cacheDir, int refreshIntervalMs) = 0;
  /// Keeps the record (a reference, no copy), so that a later change shows in later requests. resultFailed
  /// for null.
  virtual _Result setPubParam(IBsPubInfo* info) = 0;
  /// The same for the network proxy.
  virtual _Result setServerProxy(IBsServerProxyInfo* info) = 0;
  /// Starts a login with the keys of ExternlMediaLoginCharKey; the record is copied. resultOk when the first
  /// request was started; the address for the browser comes by `onLoginUrl`, the outcome by `queryResponse`.
  virtual _Result toExternlMediaAuth(IBsInfoReader* loginInfo) = 0;
  /// Checks a cached login and renews its token; the outcome comes by `queryResponse`, once, with a record of
  /// type 402. An empty or null uuid means the last user. resultOk when a request was started, or when a
  /// renewal of the user runs whose answer will be this one's, too.
  /// Calls back within itself: nobody is signed in, or no such user (`queryResponse` of type 402, -10021);
  /// the token's end has passed (-10022); no thread could be made while other verifications waited (-10004).
  virtual _Result toVerifyAccessToken(const char* uuid) = 0;
  /// Ends running logins, forgets the user and saves; that the file could not be written is told in the log.
  /// An empty or null uuid means the last user. What is still on its way for the user is dropped when it
  /// comes. resultOk when a user was removed.
  /// Calls back within itself: nobody is signed in at all (`queryResponse` of type 402, -10021).
  virtual _Result logout(const char* uuid) = 0;
  /// Fills `out` (type 403) with the cached user. resultOk when there was one.
  virtual _Result userInfo(const char* uuid, IBsExternlMediaAuthUserInfo* out) = 0;
  /// Asks the account server whether the client may use the service (record of type 404); exactly one answer
  /// comes by `queryResponse`. resultOk when a request was started.
  virtual _Result toConsume(IBsInfoReader* consumeInfo) = 0;
  /// Ends running logins: once it has returned no call of a callback begins for them but
  /// `onAccessTokenChanged`, which tells that a token was stored. It does not wait for a call that has begun.
  /// resultOk.
  virtual _Result cancelLogin() = 0;
  /// Adds a callback that the host owns and keeps alive; it is not counted, and stands in the list once.
  /// resultFailed for null.
  virtual _Result addAuthCallback(IExternlMediaAuthCallback* callback) = 0;
  /// Takes it away again, or does nothing when it is not there. Outside every callback it returns when no
  /// call on that object runs, so that it may go; the caller then holds no lock that its callbacks take.
  /// Inside a callback it does not wait. resultFailed for null.
  virtual _Result removeAuthCallback(IExternlMediaAuthCallback* callback) = 0;
  /// The platform, a value of ExternlMediaPlatform.
  virtual int platform() = 0;
  /// Copies the platform token of the user (empty or null uuid: the last one) to `buffer`, which must hold
  /// the stored token's full length and a terminator: a token longer than 8192 characters is cut to 8192 and
  /// the rest filled with zero bytes. A token that has no terminator of its own at its length is not given
  /// one, so the host zero-fills the buffer. Without such a user, or with a null buffer, nothing is written
  /// and the result is resultFailed. The token's expiry is not tested.
  virtual _Result getAccessToken(const char* uuid, char* buffer) = 0;

 protected:
  ~IBsExternlMediaAuthorize() = default;
};

}  // namespace KBL
