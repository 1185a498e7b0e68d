#pragma once

#include <KblUtils/Export.h>

namespace KBL {

// Names of the keys of the info records, exported variables that the host hands to setCharKeyConfig and its
// like. Variables of several types may point at one text: they then address the same entry.

/// Keys of the login record (types 400 and 405).
struct KBL_TRANSFER_API ExternlMediaLoginCharKey {
  static const char* userSessionId;    ///< user uuid: key of sessions, cache and tokens
  static const char* timeout_seconds;  ///< how long the login polling may last, decimal seconds; absent 120
  static const char* url;              ///< sent as "url" when the login opens
  static const char* platformId;       ///< the account server's number of the platform, decimal
  static const char* use_client;       ///< decimal client code; absent "1"
  static const char* scope;            ///< OAuth scopes, separated by commas; absent: the platform's default
};

/// Keys of the consume record (type 404).
struct KBL_TRANSFER_API ExternlUserConsumeCharKey {
  static const char* use_client;   ///< decimal client code; absent "1"
  static const char* action_type;  ///< decimal action code; absent "1"
};

/// Keys of the user record (type 403), as `userInfo` fills it.
struct KBL_TRANSFER_API ExternlMediaAuthUserCharKey {
  static const char* userSessionId;  ///< user uuid
  static const char* userFirstName;
  static const char* userLastName;
  static const char* userNickName;
  static const char* userAccount;
  static const char* videoCategories;   ///< titles, each followed by "|"
  static const char* thirdAccessToken;  ///< the platform's access token
};

/// Keys of the upload record (type 406).
struct KBL_TRANSFER_API ExternlMediaUploadCharKey {
  static const char* seq;       ///< the host's number of this upload
  static const char* stopFlag;  ///< end state, a value of UploadStopFlag; unset while running
  static const char* progress;  ///< percentage, decimal; "100" at the end of a good upload
  static const char* videoUrl;  ///< where the finished video can be seen
  static const char* filePath;  ///< local video file, UTF-8
  static const char* title;
  static const char* desc;
  static const char* tags;
  static const char* category;
  static const char* privacy;
  static const char* thumbnailPath;  ///< local picture, UTF-8
};

/// Keys of the mixed record (type 405), which account requests read and fill.
struct KBL_TRANSFER_API ExternlMediaMixedCharKey {
  static const char* code;            ///< authorization code of the polling
  static const char* userSessionId;   ///< user uuid
  static const char* userAccountUid;  ///< the platform's stable account id
  static const char* userAccount;
  static const char* userFirstName;
  static const char* userLastName;
  static const char* userNickName;
  static const char* userAvatarLocal;  ///< avatar as a local file
  static const char* userAvatarUrl;
  static const char* videoCategories;   ///< titles, each followed by "|"
  static const char* thirdAccessToken;  ///< the platform's access token
  static const char* accessToken;       ///< the account server's access token
  static const char* refreshToken;
  static const char* openUrl;          ///< address for the browser
  static const char* sessionId;        ///< the account server's id of one login
  static const char* authSupportCode;  ///< support code of the login
  static const char* callbackUrl;      ///< address to show when the login ended
};

/// Integer keys of the mixed record.
struct KBL_TRANSFER_API ExternlMediaMixedIntKey {
  static const char* expiresIn;         ///< token lifetime in seconds
  static const char* expiresTimestamp;  ///< time of expiry, seconds since the epoch
  static const char* tokenType;
  static const char* status;  ///< state of the login: 0 pending, 1 done, 2 cancelled or failed
};

/// Values of ExternlMediaUploadCharKey::stopFlag; unset means running.
namespace UploadStopFlag {
inline constexpr const char* success = "upload_success";
inline constexpr const char* error = "upload_error";
inline constexpr const char* userCancelled = "user_cancelled";
}  // namespace UploadStopFlag

}  // namespace KBL
