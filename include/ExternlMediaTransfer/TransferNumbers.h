#pragma once

namespace KBL {

// The numbers of the transfers' interface. What stands behind a command or a query is told by
// IExternlMediaTransfer.

/// Platforms of the transfer side: the argument of `createEMTUpTransfer`.
enum TransferPlatform : int {
  transferFacebook = 0,
  transferYoutube = 1,
  transferVimeo = 2,
  transferFlickr = 3,
  transferInstagram = 4,
  transferTwitch = 5,
  transferTiktok = 6,
  transferDouyin = 7,
};

/// First argument of `IExternlMediaTransfer::Command`: 0 to 9 of an upload, 10 to 14 of a download transfer,
/// 15 of both.
enum TransferCommand : int {
  commandSetRecord = 0,
  commandSetCallback = 1,
  commandPushMessage = 2,
  commandVerifyRedirectUrl = 5,
  commandSetAccessToken = 6,
  commandSetAppBrand = 8,
  commandSetApp = 9,
  commandDownloadFile = 10,
  commandListFacebookAlbums = 11,
  commandListFacebookMedia = 12,
  commandListFlickrMedia = 13,
  commandListInstagramMedia = 14,
  commandSetContext = 15,
};

/// First argument of `IExternlMediaTransfer::Query`: 3, 4 and 7 of an upload, 15 of both.
enum TransferQuery : int {
  queryLoginUrl = 3,
  queryLogout = 4,
  queryUserInfo = 7,
  queryContext = 15,
};

/// Events of an upload, as a TransferCallback is told of them.
enum TransferEvent : int {
  transferEventProgress = 7,
  transferEventFinished = 8,
  transferEventTokenInvalid = 9,
  transferEventError = 12,
};

}  // namespace KBL
