#pragma once

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

}  // namespace KBL
