#include "uploaders/requests/OpenIdUploadFileRequest.h"

#include "json/JsonAccess.h"
#include <BsNet/BsInfoReader.h>
#include <ExternlMediaTransfer/ExternlMediaKeys.h>

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

std::optional<std::string> OpenIdUploadFileRequest::resultIn(const Json::Value& root) const {
  return jsonId(jsonMember(root, "data"), "share_id");
}

}  // namespace KBL
