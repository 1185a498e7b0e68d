#pragma once

#include "json/JsonAccess.h"
#include <KblUtils/Result.h>

#include <string>

namespace KBL {

/// What decides that a reply tells of success.
enum class SuccessSign {
  zero,           ///< a code of 0, which must be there
  zeroOrMissing,  ///< a code of 0, or none
  zeroInObject,   ///< a code of 0, or none, in an object that must be there
  noPlace,        ///< an object without the member that would hold the code
};

/// Which replies get a line in the log.
enum class LoggedReplies { all, refusals, unreadable };

/// How a service answers, and what is told of it. Whatever service it is, a reply that is too large, or whose
/// code cannot be read, is no success, and counts as one that was not read.
struct ReplyShape {
  JsonForm form;
  const char* place;    ///< the member that holds code and message; null: the root does
  const char* code;     ///< name of the code there
  const char* message;  ///< name of the text of a refusal there; null: a refusal is told by a fixed text
  SuccessSign success;
  int codeOfNonJson;
  bool quotesNonJson;  ///< the message about text that is no JSON quotes it
  bool quotesOddCode;  ///< the message about a code that cannot be read quotes the reply
  LoggedReplies lines;
  const char* line;         ///< what stands before the code in a line
  const char* goodLine;     ///< the same of a success, which then names no address; null: as of a failure
  const char* contentMark;  ///< what stands before the reply
};

inline constexpr ReplyShape accountReply = {
    .form = accountReplyForm,
    .place = nullptr,
    .code = "code",
    .message = "msg",
    .success = SuccessSign::zero,
    .codeOfNonJson = ErrorCode::replyNotRead,
    .quotesNonJson = true,
    .quotesOddCode = false,
    .lines = LoggedReplies::all,
    .line = ", error code:",
    .goodLine = ", success code:",
    .contentMark = ",content:",
};

// Platforms count text that is no JSON as no error of theirs, and as no success.

inline constexpr ReplyShape googleReply = {
    .form = platformReplyForm,
    .place = "error",
    .code = "code",
    .message = "message",
    .success = SuccessSign::noPlace,
    .codeOfNonJson = ErrorCode::none,
    .quotesNonJson = true,
    .quotesOddCode = true,
    .lines = LoggedReplies::refusals,
    .line = ", error code:",
    .goodLine = nullptr,
    .contentMark = ",content:",
};

inline constexpr ReplyShape tiktokProfileReply = {
    .form = platformReplyForm,
    .place = "error",
    .code = "code",
    .message = nullptr,
    .success = SuccessSign::zeroInObject,
    .codeOfNonJson = ErrorCode::none,
    .quotesNonJson = false,
    .quotesOddCode = false,
    .lines = LoggedReplies::all,
    .line = ", tiktok user info error code:",
    .goodLine = nullptr,
    .contentMark = ", content:",
};

// The lines about uploads speak of user info as well; their texts are fixed.

inline constexpr ReplyShape tiktokUploadReply = {
    .form = platformReplyForm,
    .place = "data",
    .code = "error_code",
    .message = "error_msg",
    .success = SuccessSign::zeroOrMissing,
    .codeOfNonJson = ErrorCode::none,
    .quotesNonJson = true,
    .quotesOddCode = true,
    .lines = LoggedReplies::unreadable,
    .line = ", tiktok user info error code:",
    .goodLine = nullptr,
    .contentMark = ",content:",
};

inline constexpr ReplyShape douyinReply = {
    .form = platformReplyForm,
    .place = "data",
    .code = "error_code",
    .message = "description",
    .success = SuccessSign::zeroOrMissing,
    .codeOfNonJson = ErrorCode::none,
    .quotesNonJson = true,
    .quotesOddCode = true,
    .lines = LoggedReplies::unreadable,
    .line = ", Douyin user info error code:",
    .goodLine = nullptr,
    .contentMark = ",content:",
};

/// What a service said.
struct ReplyVerdict {
  bool isSuccess = false;
  bool wasRead = false;  ///< there was a code, of success or of refusal
  int code = 0;
  std::string message;  ///< of what is no success

  [[nodiscard]] bool deserves(LoggedReplies lines) const;
};

/// Reads `content` into `root`, which stays null where it is no JSON.
[[nodiscard]] ReplyVerdict judgeReply(const ReplyShape& shape, const std::string& content, Json::Value& root);

}  // namespace KBL
