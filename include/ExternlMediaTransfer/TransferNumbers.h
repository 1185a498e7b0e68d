#pragma once

namespace KBL {

// The numbers of the transfers' interface. docs/events-and-codes.md is made of these comments.

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
/// 15 of both. Further arguments are 64 bits wide, pointers of exactly the type that is named. Results are
/// values of _Result.
enum TransferCommand : int {
  /// The upload's job, copied. Arguments: `const hostTransferRecord*`. Results: 0; 2 for null.
  commandSetRecord = 0,
  /// The function that events are told to. Arguments: `TransferCallback`. Results: 0; 2 for null.
  commandSetCallback = 1,
  /// Shares a link, scripts only. Arguments: `hostShareRecord*`. Results: 0; 2 for null or a text that is no
  /// UTF-8; 3 without a script.
  commandPushMessage = 2,
  /// Ends a login, scripts only. Arguments: `const char*` address that the browser reached; `char*` error
  /// buffer of 1024 bytes. Results: 0 accepted; 1 failed, the buffer tells why; 2 not usable, null or no
  /// UTF-8;
  /// 3 without a script.
  commandVerifyRedirectUrl = 5,
  /// Takes a login back, scripts only. Arguments: `const char*` token as query 7 gave it; `char*` error
  /// buffer
  /// of 1024 bytes, always written. Results: 0; 1 refused; 2 for null or no UTF-8; 3 without a script.
  commandSetAccessToken = 6,
  /// The brand of the application, scripts only. Arguments: `long long` 0 or 1. Results: 0, whatever is
  /// given.
  commandSetAppBrand = 8,
  /// The application, scripts only. Arguments: `const char*` key; `const char*` secret; `const char*`
  /// redirect
  /// address. Results: 0; 2 for null or no UTF-8; 3 without a script.
  commandSetApp = 9,
  /// Sets up the download of a file. Arguments: `const char*` address; `const char*` save path, narrow text
  /// of
  /// the system; `MediaErrorCallback`; `MediaProgressCallback`. Results: 0; 2 for a null text; 3 memory is
  /// short.
  commandDownloadFile = 10,
  /// Sets up the list of a Facebook user's albums. Arguments: `const char*` access token; `AlbumCallback`;
  /// `MediaErrorCallback`. Results: as of 10.
  commandListFacebookAlbums = 11,
  /// Sets up the list of a Facebook album. Arguments: `const char*` access token; `const char*` album id;
  /// `MediaCallback`; `MediaErrorCallback`. Results: as of 10.
  commandListFacebookMedia = 12,
  /// Sets up the list of a Flickr user's media. Arguments: `const char*` application key; `const char*`
  /// application secret; `const char*` token pair; `MediaCallback`; `MediaErrorCallback`. Results: as of 10.
  commandListFlickrMedia = 13,
  /// Sets up the list of an Instagram user's media. Arguments: `const char*` access token; `MediaCallback`;
  /// `MediaErrorCallback`. Results: as of 10.
  commandListInstagramMedia = 14,
  /// The context that callbacks get first. Arguments: `void*`, null allowed. Results: 0.
  commandSetContext = 15,
};

/// First argument of `IExternlMediaTransfer::Query`: 3, 4 and 7 of an upload, 15 of both.
enum TransferQuery : int {
  /// The address to open for a login, scripts only. Arguments: `char*` buffer of 8192 bytes. Results: 0; 2
  /// for
  /// null or without an address; 3 without a script.
  queryLoginUrl = 3,
  /// Signs out who signed in last. With nobody signed in on a native platform it calls the manager's
  /// `queryResponse` within itself. Arguments: none. Results: 0; 1 nobody is signed in; 3 without a script,
  /// on
  /// a native platform before the first `Start` or query 7.
  queryLogout = 4,
  /// The user who signed in last. Arguments: `hostAccountRecord*` with room behind it. Results: 0; 1 nobody
  /// is
  /// signed in; 2 for null; 3 nothing can serve the platform.
  queryUserInfo = 7,
  /// The context of command 15. Arguments: `void**`. Results: 0; 2 for null; 5 of a download transfer, though
  /// the context is written.
  queryContext = 15,
};

/// Events of an upload, as a TransferCallback is told of them.
enum TransferEvent : int {
  /// Progress. Value: percent. Text: null.
  transferEventProgress = 7,
  /// The upload has finished. Value: 0. Text: the video's address; of TikTok its bare id, of Douyin empty.
  transferEventFinished = 8,
  /// The token is no longer good, of scripts. Value: 0. Text: the script's.
  transferEventTokenInvalid = 9,
  /// An error. Value: a TransferErrorValue. Text: `code,message`.
  transferEventError = 12,
};

/// The value of an upload's error event. YouTube sorts by code; every other platform gives 12, and so does
/// YouTube where a script serves it.
enum TransferErrorValue : int {
  /// Code -10002.
  transferErrorParam = 2,
  /// Codes -10022 and 140013.
  transferErrorToken = 9,
  /// Any other code.
  transferErrorOther = 10,
  /// Any code, of platforms that do not sort.
  transferErrorGeneral = 12,
  /// Code 231500: the account server refuses.
  transferErrorRefused = 13,
  /// Codes -10023, -10024 and -10025.
  transferErrorFile = 14,
};

}  // namespace KBL
