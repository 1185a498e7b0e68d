#pragma once

#include <BsNet/IBsInfoReader.h>

namespace KBL {

/// Type numbers of the info records: the argument of `createExternlMediaAuthInfoObject` and the answer of
/// `infoType`.
enum ExternlMediaInfoType : int {
  /// A login: its parameters and, in `queryResponse`, its outcome.
  infoTypeLogin = 400,
  /// A refresh in the background; told when it failed.
  infoTypeRefreshToken = 401,
  /// A verification; also the refusals of `logout`.
  infoTypeVerifyAccessToken = 402,
  /// A user, as `userInfo` fills it.
  infoTypeUser = 403,
  /// A consume query: its parameters and its answer.
  infoTypeConsume = 404,
  /// What account requests read and fill; hosts don't meet it.
  infoTypeMixed = 405,
  /// An upload; in `queryResponse` one that could not be begun.
  infoTypeUpload = 406,
};

// The interfaces of the typed records. They add no operations to IBsBaseInfoRW; their names tell what a
// record is for.

/// Parameters and results of a login, a refresh and everything that account requests learn (types 400, 401,
/// 405).
class IBsExternlMediaLoginInfo : public virtual IBsBaseInfoRW {
 protected:
  ~IBsExternlMediaLoginInfo() = default;
};

/// Outcome of the check of a cached login (type 402).
class IBsExternlMediaVerifyAccessTokenInfo : public virtual IBsBaseInfoRW {
 protected:
  ~IBsExternlMediaVerifyAccessTokenInfo() = default;
};

/// A user, as `userInfo` fills it (type 403).
class IBsExternlMediaAuthUserInfo : public virtual IBsBaseInfoRW {
 protected:
  ~IBsExternlMediaAuthUserInfo() = default;
};

/// Parameters and state of one upload (type 406).
class IBsExternlMediaUploadInfo : public virtual IBsBaseInfoRW {
 protected:
  ~IBsExternlMediaUploadInfo() = default;
};

}  // namespace KBL
