#include "uploaders/requests/BsExternlMediaAuthTiktokUploadFileRequest.h"

#include <ExternlMediaTransfer/ExternlMediaKeys.h>

#include <algorithm>

namespace KBL {

namespace {
constexpr int highestRunningPercent = 99;  // 100 is kept for the answer that names the video
constexpr const char* videoField = "video";
}  // namespace

BsExternlMediaAuthTiktokUploadFileRequest::BsExternlMediaAuthTiktokUploadFileRequest()
    : OpenIdUploadFileRequest(RequestConstants{requestTiktokUploadFile, httpPost,
                                               "urlExternlMediaAuthTiktokUpload",
                                               "ExternlMediaAuthTiktokUpload"}) {}

_Result BsExternlMediaAuthTiktokUploadFileRequest::Request(IBsInfoReader* info, INetworkClient* client,
                                                           NetReply* reply) {
  Upload upload;
  if (prepare(info, fileLimit, *reply, upload) != resultOk) return resultFailed;
  uploadSize_ = static_cast<std::int64_t>(upload.fileSize);
  // The file alone: the service takes neither title nor description, tags or privacy.
  client->setUploadSource({{videoField, upload.path}});
  const std::string address = configuredUrl() + "?access_token=" + upload.token + "&open_id=" + upload.openId;
  if (exchange(*client, *reply, address, {}, this) != resultOk) return resultFailed;
  parseEnvelope(info, reply->content, errorInfo().get(), reply);
  if (reply->httpCode != httpOk || resultId().empty()) {
    setText(info, ExternlMediaUploadCharKey::stopFlag, UploadStopFlag::error);
  } else {
    // The host is told the bare share id where others tell an address; that is how it is to be.
    succeed(info, resultId());
  }
  return resultOk;
}

bool BsExternlMediaAuthTiktokUploadFileRequest::onProgress(long long, long long, long long,
                                                           long long uploaded) {
  const RefPtr<IBsInfoReader> info = replyInfo();
  if (isUploadStopped(ownerTag(), info.get())) {
    report(ErrorCode::userCancelled, cancelledMessage);
    return false;
  }
  const int percent = percentOf(uploaded);
  if (percent > 0) {
    report(ErrorCode::none, "");
    deliverProgress(info.get(), std::min(percent, highestRunningPercent));
  }
  return true;
}

int BsExternlMediaAuthTiktokUploadFileRequest::percentOf(long long sent) const {
  if (uploadSize_ <= 0) return 0;
  return static_cast<std::int32_t>(std::uint64_t{100} * static_cast<std::uint64_t>(sent) /
                                   static_cast<std::uint64_t>(uploadSize_));
}

int BsExternlMediaAuthTiktokUploadFileRequest::checkResponseValid(const std::string& content,
                                                                  Json::Value& root, std::string& message,
                                                                  int& code) {
  return checkReply(tiktokUploadReply, content, root, message, code);
}

}  // namespace KBL
