#include "scripting/UploadEventSink.h"

#include "foundation/Texts.h"
#include "scripting/python/PythonCall.h"
#include <KblLogger/KblLogger.h>
#include <KblUtils/TimeSource.h>

#include <chrono>

namespace KBL {

namespace {
constexpr const char* logFunction = "KBL::CAuthNUploadObj::userCallBack";

constexpr std::chrono::milliseconds lookPeriod{250};  // whether the interpreter runs on
constexpr std::int64_t patienceBehindTheInterpreterMs = 5000;
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

void UploadEventSink::setTransfer(std::weak_ptr<IExternlMediaTransfer> transfer) {
  const std::lock_guard lock(mutex_);
  transfer_.swap(transfer);
}

bool UploadEventSink::hasCallback() const {
  const std::lock_guard lock(mutex_);
  return callback_ != nullptr;
}

// The call is over before the core is let go: whoever waits for it may free what the core never touches.
void UploadEventSink::tellHost(TransferEvent event, int value, const char* text) {
  std::shared_ptr<IExternlMediaTransfer> transfer;
  TransferCallback callback = nullptr;
  void* context = nullptr;
  const bool isScripts = ScriptOnStack::here();
  if (isScripts) scriptsLife_ = PythonGate::instance().lastLife();
  HostCalls& calls = isScripts ? scriptsCalls_ : workersCalls_;
  const HostCalls::Call call(calls, nullptr, [&] {
    const std::lock_guard lock(mutex_);
    transfer = transfer_.lock();
    callback = callback_;
    context = context_;
    return callback != nullptr;
  });
  if (!call) return;
  runHostCode([&] { callback(context, transfer.get(), event, value, text); },
              [](const char* what) {
                KBL_LOG_AS(severityError, logFunction, "[AuthNUpload] host callback threw: " << what);
              });
}

void UploadEventSink::close() {
  workersCalls_.close();
  scriptsCalls_.close();
}

void UploadEventSink::waitUntilNoneRuns() {
  workersCalls_.waitUntilNone();
  std::int64_t interpreterRanMs = timeSource()->steadyMs();
  while (!scriptsCalls_.waitUntilNone(lookPeriod)) {
    const std::int64_t nowMs = timeSource()->steadyMs();
    if (PythonGate::instance().runs(scriptsLife_)) interpreterRanMs = nowMs;
    if (nowMs - interpreterRanMs >= patienceBehindTheInterpreterMs) return;
  }
}

// The mark "[py]" stands in the lines of native uploads, too: both generations report here.
void UploadEventSink::userCallBack(unsigned code, const char* text, int value) {
  if (workersCalls_.isClosed() || !hasCallback()) return;
  if (text == nullptr) text = "";
  switch (code) {
    case uploadEventProgress: {
      const int percent = decimalNumber(text);
      KBL_LOG_AS(severityInfo, logFunction, "[AuthNUpload][py] Upload progress:" << percent);
      return tellHost(transferEventProgress, percent, nullptr);
    }
    case uploadEventFinished:
      KBL_LOG_AS(severityInfo, logFunction, "[AuthNUpload][py] upload finished:" << text);
      return tellHost(transferEventFinished, 0, text);
    case uploadEventError:
      KBL_LOG_AS(severityInfo, logFunction, "[AuthNUpload][py] Upload error:" << text);
      return tellHost(transferEventError, value == 0 ? transferErrorGeneral : value, text);
    case uploadEventTokenInvalid:
      KBL_LOG_AS(severityInfo, logFunction, "[AuthNUpload][py] Upload token invalid:" << text);
      return tellHost(transferEventTokenInvalid, 0, text);
    case uploadEventDebug:
      KBL_LOG_AS(severityDebug, logFunction, "[AuthNUpload][py] debug:" << text);
      return;
    default:
      return;
  }
}

}  // namespace KBL
