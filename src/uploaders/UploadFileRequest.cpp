#include "uploaders/UploadFileRequest.h"

#include "authorize/switchboard/ExternlMediaAuthCallbackProxy.h"
#include "boundary/records/ExternlMediaKeys.h"
#include "foundation/BsNet/BsErrorInfo.h"
#include "foundation/BsNet/IBsBaseInfoRW.h"
#include "foundation/BsNet/covertToErrorCode.h"
#include "foundation/KblUtils/TimeUtil.h"
#include "uploaders/isUploadStopped.h"

#include <cstdlib>
#include <utility>

namespace KBL {

namespace {
constexpr int shortestPauseMs = 50;
constexpr int pauseRangeMs = 950;
}  // namespace

int UploadFileRequest::parseEnvelope(IBsInfoReader*, const std::string& content, IBsErrorInfo* error,
                                     NetReply* reply) {
  forgetResult();
  Json::Value root;
  std::string message;
  int code = ErrorCode::none;
  if (checkResponseValid(content, root, message, code) == 0) {
    error->setError(code, message.c_str());
    return 0;
  }
  if (std::optional<std::string> result = resultIn(root)) {
    gotResult_ = true;
    resultId_ = std::move(*result);
    return 1;
  }
  error->setError(reply->resultCode, content.c_str());
  return 0;
}

void UploadFileRequest::forgetResult() {
  gotResult_ = false;
  resultId_.clear();
}

int UploadFileRequest::handleRequestData(IBsBaseRequest*, IBsInfoReader* info, IBsErrorInfo*, NetReply*) {
  if (!gotResult_) return resultFailed;
  keepCopyAsReply(info);
  return resultOk;
}

bool UploadFileRequest::fetchToken(std::string& token) const {
  std::string newest = ExternlMediaAuthCallbackProxy::instance().accessToken(ownerTag_, userUuid_);
  if (!newest.empty()) token = std::move(newest);
  return !token.empty();
}

void UploadFileRequest::setText(IBsInfoReader* info, const char* key, const std::string& value) {
  if (auto* const record = dynamic_cast<IBsBaseInfoRW*>(info)) record->setCharKeyConfig(key, value.c_str());
}

void UploadFileRequest::report(int code, const std::string& message) {
  errorInfo_->setError(code, message.c_str());
  if (code != ErrorCode::none) return;
  if (auto* const error = dynamic_cast<BsErrorInfo*>(errorInfo_.get())) error->setOriginCode(0);
}

void UploadFileRequest::fail(IBsInfoReader* info, int code, const std::string& message) {
  setText(info, ExternlMediaUploadCharKey::stopFlag, UploadStopFlag::error);
  report(code, message);
}

void UploadFileRequest::reportReply(const NetReply& reply) {
  if (reply.resultCode != 0) {
    report(covertToErrorCode(&reply.resultCode), reply.errorMessage);
    if (auto* const error = dynamic_cast<BsErrorInfo*>(errorInfo_.get())) {
      error->setOriginCode(reply.resultCode);
    }
  } else if (reply.httpCode != httpOk) {
    report(reply.httpCode, reply.content);
  }
}

void UploadFileRequest::succeed(IBsInfoReader* info, const std::string& videoUrl) {
  setText(info, ExternlMediaUploadCharKey::stopFlag, UploadStopFlag::success);
  setText(info, ExternlMediaUploadCharKey::videoUrl, videoUrl);
  setText(info, ExternlMediaUploadCharKey::progress, "100");
  errorInfo_->setError(ErrorCode::none, "");
}

void UploadFileRequest::deliver(IBsInfoReader* info) {
  _callback(info, errorInfo_.get(), false);
}

void UploadFileRequest::deliverProgress(IBsInfoReader* info, int percent) {
  setText(info, ExternlMediaUploadCharKey::progress, std::to_string(percent));
  deliver(info);
}

void UploadFileRequest::pauseBeforeNextTry(IBsInfoReader* info) const {
  if (isUploadStopped(ownerTag_, info)) return;
  TimeUtil::sleepMs(std::rand() % pauseRangeMs + shortestPauseMs);
}

}  // namespace KBL
