#pragma once

#include <cstdint>

namespace KBL {

/// Status of most operations of the foundation and the library.
enum _Result : std::int32_t {
  /// Done, or started.
  resultOk = 0,
  /// Failed, or a null required argument of a manager or a request.
  resultFailed = 1,
  /// A null required argument of a transfer.
  resultNullArgument = 2,
  /// Nothing can serve the call.
  resultNoObject = 3,
  /// `Start` of a download transfer, also when all is well.
  resultNotStarted = 4,
  /// Unknown command or query.
  resultUnknownCommand = 5,
};

/// What `intKeyConfig` answers for an absent key.
inline constexpr long long absentIntValue = 9223372036854775807LL;

/// Codes inside an IBsErrorInfo, with the texts that come with them ("..." stands for what varies). Any other
/// code is a server's own with its text, an HTTP status of 400 to 599 with the reply's first 4 KiB, or 200000
/// and a value of libcurl's with libcurl's text.
namespace ErrorCode {
/// Success. Texts: "".
inline constexpr int none = 0;
/// The server's reply is no JSON, lacks its code, has one that is no whole number, or is too large. Texts:
/// "can't read json.", "can't read json. response:...".
inline constexpr int replyNotRead = -10000;
/// No usable address is configured, or an upload session opened by https goes on by http. Texts: "url
/// invalid".
inline constexpr int urlInvalid = -10001;
/// A required argument of a request is missing; no cached user for an upload. Texts: "param invalid",
/// "refresh token param invalid", "account uid invalid", "account uid param invalid", "the proxy is of
/// an unknown kind", "..., empty data", "..., no uploader".
inline constexpr int paramInvalid = -10002;
/// The login's time is up. Texts: "... timeout cb".
inline constexpr int loginTimeout = -10003;
/// No network client or thread could be made, or memory is short. Texts: "create network request failed",
/// "the exchange was broken off by an exception".
inline constexpr int noNetworkClient = -10004;
/// The user stopped, or a part was refused three times. Texts: "User cancelled!", "..., user canceled".
inline constexpr int userCancelled = -10007;
/// No usable cached user, or a read error of an upload to YouTube. Texts: "..., empty data", "..., uuid empty
/// data", "..., user_cloud_disk_uid empty", "read file error".
inline constexpr int noUsableData = -10021;
/// The cached platform token has expired. Texts: "..., token expired".
inline constexpr int tokenExpired = -10022;
/// The local file does not exist. Texts: "..., not exist".
inline constexpr int fileNotExist = -10023;
/// The local file cannot be opened. Texts: "..., open failed".
inline constexpr int fileOpenFailed = -10024;
/// The local file is empty. Texts: "..., empty file".
inline constexpr int fileEmpty = -10025;
/// The local file is above the platform's limit. Texts: "..., limit ...".
inline constexpr int fileTooLarge = -10026;
/// The last reply of an upload carries no id. Texts: "Expected field 'id' not found in response".
inline constexpr int idNotFound = -10027;
/// All tries of a part failed; today's platforms tell -10007 instead. Texts: "Failed after ... times try!".
inline constexpr int triesExhausted = -10028;
/// A part of the local file could not be read, of an upload to Douyin. Texts: "read file error".
inline constexpr int partReadFailed = -10029;
/// No platform token. Texts: "access token param invalid", "third access token param invalid", "access token
/// invalid".
inline constexpr int tokenMissing = 140013;
}  // namespace ErrorCode

/// `NetReply::resultCode` before the network client wrote it.
inline constexpr int transportPending = 1000;

}  // namespace KBL
