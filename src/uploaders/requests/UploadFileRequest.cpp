#include "uploaders/requests/UploadFileRequest.h"

#include "authorize/switchboard/ExternlMediaAuthCallbackProxy.h"
#include "foundation/Texts.h"
#include <BsNet/IBsInfoReader.h>
#include <ExternlMediaTransfer/ExternlMediaKeys.h>
#include <KblUtils/FileUtil.h>
#include <KblUtils/StringUtil.h>
#include <KblUtils/TimeUtil.h>

#include <cstdlib>
#include <string_view>
#include <utility>

namespace KBL {

namespace {
constexpr int shortestPauseMs = 50;
constexpr int pauseRangeMs = 950;
}  // namespace

bool UploadFileRequest::readReply(const Json::Value& root, const std::string& content, IBsErrorInfo& error,
                                  const NetReply* reply) {
  if (std::optional<std::string> result = resultIn(root)) {
    resultId_ = std::move(*result);
    return true;
  }
  error.setError(reply->resultCode, StringUtil::excerpt(content).c_str());
  return false;
}

int UploadFileRequest::handleRequestData(IBsBaseRequest*, IBsInfoReader* info, IBsErrorInfo*, NetReply*) {
  if (!gotResult()) return resultFailed;
  keepCopyAsReply(info);
  return resultOk;
}

bool UploadFileRequest::fetchToken(std::string& token) const {
  std::string newest = ExternlMediaAuthCallbackProxy::instance().accessToken(ownerTag(), userUuid());
  if (!newest.empty()) token = std::move(newest);
  return !token.empty();
}

void UploadFileRequest::setText(IBsInfoReader* info, const char* key, const std::string& value) {
  if (auto* const record = dynamic_cast<IBsBaseInfoRW*>(info)) record->setCharKeyConfig(key, value.c_str());
}

void UploadFileRequest::report(int code, const std::string& message) {
  const RefPtr<IBsErrorInfo> error = errorInfo();
  error->setError(code, message.c_str());
  if (code == ErrorCode::none) setOriginCode(*error, 0);
}

void UploadFileRequest::fail(IBsInfoReader* info, int code, const std::string& message) {
  setText(info, ExternlMediaUploadCharKey::stopFlag, UploadStopFlag::error);
  report(code, message);
}

void UploadFileRequest::succeed(IBsInfoReader* info, const std::string& videoUrl) {
  setText(info, ExternlMediaUploadCharKey::stopFlag, UploadStopFlag::success);
  setText(info, ExternlMediaUploadCharKey::videoUrl, videoUrl);
  setText(info, ExternlMediaUploadCharKey::progress, "100");
  errorInfo()->setError(ErrorCode::none, "");
}

void UploadFileRequest::deliver(IBsInfoReader* info) {
  _callback(info, errorInfo().get(), false);
}

void UploadFileRequest::deliverProgress(IBsInfoReader* info, int percent) {
  setText(info, ExternlMediaUploadCharKey::progress, std::to_string(percent));
  deliver(info);
}

// Refused tries read as the user's own cancel, although nobody cancelled: hosts rely on it.
void UploadFileRequest::failAfterTries(IBsInfoReader* info, int maxTries) {
  if (maxTries > 0) return fail(info, ErrorCode::userCancelled, cancelledMessage);
  fail(info, ErrorCode::triesExhausted, "Failed after " + std::to_string(maxTries) + " times try!");
}

void UploadFileRequest::pauseBeforeNextTry(IBsInfoReader* info) const {
  if (isUploadStopped(ownerTag(), info)) return;
  TimeUtil::sleepMs(std::rand() % pauseRangeMs + shortestPauseMs);
}

bool isUploadStopped(const std::string& ownerTag, IBsInfoReader* uploadInfo) {
  const char* const text =
      uploadInfo == nullptr ? nullptr : uploadInfo->charKeyConfig(ExternlMediaUploadCharKey::stopFlag);
  const std::string_view stopFlag = textOrEmpty(text);
  if (stopFlag == UploadStopFlag::userCancelled || stopFlag == UploadStopFlag::error) return true;
  return !ExternlMediaAuthCallbackProxy::instance().knowsOwner(ownerTag);
}

FileFault openVideoFile(const std::string& path, FileStream& file) {
  if (!FileUtil::exists(Path(path))) return {ErrorCode::fileNotExist, path + ", not exist"};
  if (!file.open(Path(path), "rb")) return {ErrorCode::fileOpenFailed, path + ", open failed"};
  if (file.size() == 0) return {ErrorCode::fileEmpty, path + ", empty file"};
  return {};
}

FileFault openVideoFile(const std::string& path, FileStream& file, const FileLimit& limit) {
  FileFault fault = openVideoFile(path, file);
  if (fault.code != ErrorCode::none || file.size() < limit.bytes) return fault;
  return {ErrorCode::fileTooLarge, path + ", limit " + limit.text};
}

}  // namespace KBL
