#pragma once

#include <cstdint>

namespace KBL {

/// Status of most operations of the foundation and the library.
enum _Result : std::int32_t {
  resultOk = 0,
  resultFailed = 1,          ///< failure, or a null required argument of a manager or a request
  resultNullArgument = 2,    ///< a required argument of a transfer command is null
  resultNoObject = 3,        ///< the upload object that is needed does not exist
  resultNotStarted = 4,      ///< `Start` on a download transfer
  resultUnknownCommand = 5,  ///< unknown or unsupported transfer command
};

/// What `intKeyConfig` answers for an absent key.
inline constexpr long long absentIntValue = 9223372036854775807LL;

/// Codes inside an IBsErrorInfo; anything else is a server's code, an HTTP status or a value of
/// `covertToErrorCode`.
namespace ErrorCode {
inline constexpr int none = 0;
inline constexpr int replyNotRead = -10000;     ///< the reply has no readable envelope
inline constexpr int urlInvalid = -10001;       ///< no usable URL configured
inline constexpr int paramInvalid = -10002;     ///< a required argument of a request is missing
inline constexpr int loginTimeout = -10003;     ///< the login or its polling ran out of time
inline constexpr int noNetworkClient = -10004;  ///< no network client could be made
inline constexpr int userCancelled = -10007;    ///< stopped by the user
inline constexpr int noUsableData = -10021;     ///< no usable cached user, or a local read error of an upload
inline constexpr int tokenExpired = -10022;     ///< the cached platform token has expired
inline constexpr int fileNotExist = -10023;     ///< the local file does not exist
inline constexpr int fileOpenFailed = -10024;   ///< the local file cannot be opened
inline constexpr int fileEmpty = -10025;        ///< the local file is empty
inline constexpr int fileTooLarge = -10026;     ///< the local file is above the platform's limit
inline constexpr int idNotFound = -10027;       ///< the last reply of an upload carries no id
inline constexpr int triesExhausted = -10028;   ///< all tries of a chunk or part failed
inline constexpr int partReadFailed = -10029;   ///< a part of the local file could not be read
inline constexpr int tokenMissing = 140013;     ///< no platform token
}  // namespace ErrorCode

/// `NetReply::resultCode` before the network client wrote it.
inline constexpr int transportPending = 1000;

}  // namespace KBL
