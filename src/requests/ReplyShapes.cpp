#include "requests/ReplyShapes.h"

#include <KblUtils/StringUtil.h>

#include <optional>

namespace KBL {

namespace {
constexpr const char* fixedMessage = "can't read json.";

ReplyVerdict unread(int code, bool quotes, const std::string& content) {
  return {.code = code, .message = quotes ? unreadableReply(content) : fixedMessage};
}

const Json::Value& placeIn(const ReplyShape& shape, const Json::Value& root) {
  return shape.place == nullptr ? root : jsonMember(root, shape.place);
}

/// None for a code that cannot be read, be it for its type or, where it must be there, because it is missing.
std::optional<int> codeIn(const ReplyShape& shape, const Json::Value& root) {
  if (shape.place != nullptr) return jsonCode(root, {shape.place, shape.code});
  const Json::Value& code = jsonMember(root, shape.code);
  return code.isInt() ? std::optional(code.asInt()) : std::nullopt;
}

bool isSuccess(const ReplyShape& shape, const Json::Value& root, int code) {
  switch (shape.success) {
    case SuccessSign::noPlace:
      return root.isObject() && !root.isMember(shape.place);
    case SuccessSign::zeroInObject:
      return code == 0 && placeIn(shape, root).isObject();
    default:
      return code == 0;
  }
}
}  // namespace

bool ReplyVerdict::deserves(LoggedReplies lines) const {
  switch (lines) {
    case LoggedReplies::all:
      return true;
    case LoggedReplies::refusals:
      return !isSuccess;
    default:
      return !wasRead;
  }
}

ReplyVerdict judgeReply(const ReplyShape& shape, const std::string& content, Json::Value& root) {
  const JsonOutcome outcome = readJson(content, shape.form, root);
  if (outcome == JsonOutcome::tooLarge) return unread(ErrorCode::replyNotRead, true, content);
  if (outcome == JsonOutcome::notJson) return unread(shape.codeOfNonJson, shape.quotesNonJson, content);
  const std::optional<int> code = codeIn(shape, root);
  if (!code) return unread(ErrorCode::replyNotRead, shape.quotesOddCode, content);

  ReplyVerdict verdict;
  verdict.isSuccess = isSuccess(shape, root, *code);
  verdict.wasRead = true;
  verdict.code = *code;
  if (verdict.isSuccess) return verdict;
  verdict.message = shape.message == nullptr
                        ? fixedMessage
                        : StringUtil::excerpt(jsonText(placeIn(shape, root), shape.message));
  return verdict;
}

}  // namespace KBL
