#include "foundation/Texts.h"
#include <BsNet/BsErrorInfo.h>
#include <KblUtils/CastByName.h>

namespace KBL {
namespace {

constexpr const char* codeKey = "error_code";
constexpr const char* originCodeKey = "error_origin_code";
constexpr const char* messageKey = "error_message";

int asCode(long long value) {
  return value == absentIntValue ? ErrorCode::none : static_cast<int>(value);
}

}  // namespace

BsErrorInfo::BsErrorInfo() = default;
BsErrorInfo::~BsErrorInfo() = default;

int BsErrorInfo::errorCode() {
  return asCode(intKeyConfig(codeKey));
}
int BsErrorInfo::originCode() {
  return asCode(intKeyConfig(originCodeKey));
}
bool BsErrorInfo::failed() {
  return errorCode() != ErrorCode::none;
}

const char* BsErrorInfo::errorMessage() {
  return textOrEmpty(charKeyConfig(messageKey));
}

void BsErrorInfo::setError(int code, const char* message) {
  if (storeIntAndText(codeKey, code, messageKey, textOrEmpty(message)) == resultOk) return;
  (void)storeInt(codeKey, code);  // memory is short: a failure must not read as a success for want of a text
}

_Result BsErrorInfo::setOriginCode(const int& code) {
  return storeInt(originCodeKey, code);
}

_Result BsErrorInfo::reset() {
  clearEntries();
  return resultOk;
}

ErrorState errorStateOf(IBsErrorInfo& error) {
  BsErrorInfo copy;
  const bool isOurs = dynamic_cast<BsErrorInfo*>(&error) != nullptr;
  IBsErrorInfo& source = isOurs && copy.CopyInfo(&error) == resultOk ? copy : error;
  const char* const message = source.errorMessage();
  return {source.errorCode(), textOrEmpty(message)};
}

void* BsErrorInfo::QueryInterfaceByName(const char* name) {
  return castByName(this, name, Named<IBsErrorInfo>{"IBsErrorInfo"});
}

}  // namespace KBL
