#include "foundation/BsNet/BsErrorInfo.h"

#include "foundation/object/CastByName.h"

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
  const char* const message = charKeyConfig(messageKey);
  return message != nullptr ? message : "";
}

void BsErrorInfo::setError(int code, const char* message) {
  storeIntAndText(codeKey, code, messageKey, message != nullptr ? message : "");
}

_Result BsErrorInfo::setOriginCode(const int& code) {
  return storeInt(originCodeKey, code);
}

_Result BsErrorInfo::reset() {
  clearEntries();
  return resultOk;
}

void* BsErrorInfo::QueryInterfaceByName(const char* name) {
  return castByName(this, name, Named<IBsErrorInfo>{"IBsErrorInfo"});
}

}  // namespace KBL
