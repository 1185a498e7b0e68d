#include "requests/ProfileRequest.h"

#include "authorize/switchboard/ExternlMediaAuthCallbackProxy.h"
#include "foundation/KblLogger/KblLogger.h"
#include "requests/JsonAccess.h"

namespace KBL {

int ProfileRequest::parseEnvelope(IBsInfoReader*, const std::string& content, IBsErrorInfo* error,
                                  NetReply*) {
  gotResult_ = false;
  clearFields();
  Json::Value root;
  std::string message;
  int code = 0;
  if (checkResponseValid(content, root, message, code) == 0) {
    error->setError(code, message.c_str());
    return 0;
  }
  readFields(root);
  gotResult_ = true;
  return 1;
}

int ProfileRequest::handleRequestData(IBsBaseRequest*, IBsInfoReader* info, IBsErrorInfo*, NetReply*) {
  if (!gotResult_) return 1;
  if (auto* const record = dynamic_cast<BsBaseInfoRW*>(info)) publish(*record);
  keepCopyAsReply(info);
  ExternlMediaAuthCallbackProxy::instance().updateInfo(ownerTag_, userUuid_, info);
  return 0;
}

void ProfileRequest::logReply(const char* what, int code, const std::string& message, const char* contentMark,
                              const std::string& content, const std::source_location& caller) {
  KBL_LOG_AS(
      info, qualifiedFunctionName(caller.function_name()).c_str(),
      name << what << code << ",msg:" << message << contentMark << content << ", url: " << configuredUrl());
}

int GoogleProfileRequest::checkGoogleReply(const std::string& content, Json::Value& root,
                                           std::string& message, int& code,
                                           const std::source_location& caller) {
  code = 0;
  if (parseJson(content, root, true)) {
    const Json::Value& error = jsonMember(root, "error");
    if (error.isNull()) return 1;
    code = jsonCode(error, "code");
    message = jsonText(error, "message");
  } else {
    message = "can't read json. response:" + content;
  }
  logReply(", error code:", code, message, ",content:", content, caller);
  return 0;
}

}  // namespace KBL
