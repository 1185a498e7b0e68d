#include "uploaders/OpenIdUploadFileRequest.h"

#include "boundary/records/ExternlMediaKeys.h"
#include "foundation/BsNet/BsBaseInfoRW.h"
#include "foundation/KblLogger/KblLogger.h"
#include "requests/JsonAccess.h"

namespace KBL {

_Result OpenIdUploadFileRequest::prepare(IBsInfoReader* info, const FileLimit& limit, NetReply& reply,
                                         Upload& upload) {
  if (dynamic_cast<BsBaseInfoRW*>(info) == nullptr) return resultFailed;
  setReplyInfo(shareRef(info));
  const char* const openId = info->charKeyConfig(ExternlMediaMixedCharKey::userAccountUid);
  if (openId == nullptr) return refuse(reply, ErrorCode::paramInvalid, "account uid param invalid");
  upload.openId = openId;
  if (!fetchToken(upload.token)) return refuse(reply, ErrorCode::tokenMissing, tokenMissingMessage);
  upload.path = textOf(info, ExternlMediaUploadCharKey::filePath);
  const FileFault fault = openVideoFile(upload.path, upload.file, limit);
  if (fault.code != ErrorCode::none) return refuse(reply, fault.code, fault.message.c_str());
  upload.fileSize = upload.file.size();
  return resultOk;
}

int OpenIdUploadFileRequest::checkData(const std::string& content, Json::Value& root, std::string& message,
                                       int& code, const char* messageMember, const char* what,
                                       const std::source_location& caller) {
  code = ErrorCode::none;
  if (!parseJson(content, root, true)) {
    message = "can't read json. response:" + content;
    KBL_LOG_AS(
        info, qualifiedFunctionName(caller.function_name()).c_str(),
        name << what << code << ",msg:" << message << ",content:" << content << ", url: " << configuredUrl());
    return 0;
  }
  const Json::Value& data = jsonMember(root, "data");
  code = jsonCode(data, "error_code");
  if (code == ErrorCode::none) return 1;
  message = jsonText(data, messageMember);
  return 0;
}

std::optional<std::string> OpenIdUploadFileRequest::resultIn(const Json::Value& root) const {
  return jsonId(jsonMember(root, "data"), "share_id");
}

}  // namespace KBL
