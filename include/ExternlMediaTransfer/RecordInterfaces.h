#pragma once

#include <BsNet/IBsInfoReader.h>

namespace KBL {

/// Type numbers of the info records: the argument of `createExternlMediaAuthInfoObject` and the answer of
/// `infoType`.
enum ExternlMediaInfoType : int {
  infoTypeLogin = 400,
  infoTypeRefreshToken = 401,
  infoTypeVerifyAccessToken = 402,
  infoTypeUser = 403,
  infoTypeConsume = 404,
  infoTypeMixed = 405,
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
