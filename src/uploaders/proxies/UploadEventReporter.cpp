#include "uploaders/proxies/UploadEventReporter.h"

#include "foundation/Texts.h"
#include "requests/BsExternlMediaAuthRequest.h"
#include <BsNet/BsErrorInfo.h>
#include <ExternlMediaTransfer/ExternlMediaKeys.h>
#include <KblUtils/CastByName.h>

#include <string_view>
#include <utility>

namespace KBL {

UploadEventReporter::UploadEventReporter(const UploadPlatform& platform,
                                         std::shared_ptr<IUploadEventSink> owner)
    : platform_(platform), owner_(std::move(owner)) {}

_Result UploadEventReporter::queryResponse(IBsBaseRequest* request, IBsInfoReader* info,
                                           IBsErrorInfo* error) const {
  if (request == nullptr || info == nullptr || error == nullptr) return resultOk;
  auto* const authRequest = queryInterface<BsExternlMediaAuthRequest>(request, "BsExternlMediaAuthRequest");
  if (authRequest == nullptr) return resultOk;
  if (authRequest->requestType() == requestUserSupportConsume && error->errorCode() != ErrorCode::none) {
    reportError(*error);
  } else if (authRequest->requestType() == platform_.uploadRequestType) {
    reportUpload(*info, *error);
  }
  return resultOk;
}

void UploadEventReporter::reportUpload(IBsInfoReader& info, IBsErrorInfo& error) const {
  const char* const progress = info.charKeyConfig(ExternlMediaUploadCharKey::progress);
  const char* const videoUrl = info.charKeyConfig(ExternlMediaUploadCharKey::videoUrl);
  const char* const stopFlag = info.charKeyConfig(ExternlMediaUploadCharKey::stopFlag);
  if (progress != nullptr && decimalNumber(progress) >= 0) {
    owner_->userCallBack(uploadEventProgress, progress, 0);
  }
  const bool succeeded = stopFlag != nullptr && std::string_view(stopFlag) == UploadStopFlag::success;
  if (videoUrl != nullptr || succeeded) {
    owner_->userCallBack(uploadEventProgress, "100", 0);
    owner_->userCallBack(uploadEventFinished, videoUrl, 0);
    return;
  }
  reportError(error);
}

void UploadEventReporter::reportError(IBsErrorInfo& error) const {
  const ErrorState state = errorStateOf(error);
  if (state.code == ErrorCode::none) return;
  const std::string text = std::to_string(state.code) + "," + state.message;
  owner_->userCallBack(uploadEventError, text.c_str(), platform_.errorValue(state.code));
}

}  // namespace KBL
