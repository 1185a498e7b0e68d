#include "scripting/UploadEventSink.h"

#include "foundation/KblLogger/KblLogger.h"
#include "uploaders/decimalNumber.h"

namespace KBL {

namespace {
constexpr const char* logFunction = "KBL::CAuthNUploadObj::userCallBack";
constexpr int generalError = 12;
}  // namespace

void UploadEventSink::setCallback(TransferCallback callback) {
  const std::lock_guard lock(mutex_);
  callback_ = callback;
}

void UploadEventSink::setHostContext(void* context) {
  const std::lock_guard lock(mutex_);
  context_ = context;
}

void* UploadEventSink::hostContext() const {
  const std::lock_guard lock(mutex_);
  return context_;
}

void UploadEventSink::setTransfer(IExternlMediaTransfer* transfer) {
  const std::lock_guard lock(mutex_);
  transfer_ = transfer;
}

void UploadEventSink::close() {
  const std::lock_guard lock(mutex_);
  closed_ = true;
}

std::optional<UploadEventSink::HostCall> UploadEventSink::hostCall() const {
  const std::lock_guard lock(mutex_);
  if (closed_ || callback_ == nullptr) return std::nullopt;
  return HostCall{callback_, context_, shareRef(transfer_)};
}

// The mark "[py]" stands in the lines of native uploads, too: both generations report here.
void UploadEventSink::userCallBack(unsigned code, const char* text, int value) {
  const auto tellHost = hostCall();
  if (!tellHost) return;
  if (text == nullptr) text = "";
  switch (code) {
    case uploadEventProgress: {
      const int percent = decimalNumber(text);
      KBL_LOG_AS(info, logFunction, "[AuthNUpload][py] Upload progress:" << percent);
      return (*tellHost)(transferEventProgress, percent, nullptr);
    }
    case uploadEventFinished:
      KBL_LOG_AS(info, logFunction, "[AuthNUpload][py] upload finished:" << text);
      return (*tellHost)(transferEventFinished, 0, text);
    case uploadEventError:
      KBL_LOG_AS(info, logFunction, "[AuthNUpload][py] Upload error:" << text);
      return (*tellHost)(transferEventError, value == 0 ? generalError : value, text);
    case uploadEventTokenInvalid:
      KBL_LOG_AS(info, logFunction, "[AuthNUpload][py] Upload token invalid:" << text);
      return (*tellHost)(transferEventTokenInvalid, 0, text);
    case uploadEventDebug:
      KBL_LOG_AS(debug, logFunction, "[AuthNUpload][py] debug:" << text);
      return;
    default:
      return;
  }
}

}  // namespace KBL
