#include "media_tasks/SNRRequestTask.h"

#include "foundation/KblLogger/KblLogger.h"
#include "foundation/KblUtils/TimeUtil.h"
#include "media_tasks/wideText.h"
#include "requests/JsonAccess.h"

#include <curl/curl.h>
#include <json/value.h>

#include <exception>
#include <system_error>

namespace KBL {

namespace {

/// Without a byte for longer than this, a fetch has stalled.
constexpr std::int64_t stallSeconds = 30;

std::int64_t nowSeconds() {
  return static_cast<std::int64_t>(TimeUtil::nowSinceEpoch() / 1000);
}

/// The address of a further page comes from the service, which has no business with local files or the
/// other protocols that libcurl speaks.
bool isWebAddress(const std::string& url) {
  return curl_strnequal(url.c_str(), "https://", 8) != 0 || curl_strnequal(url.c_str(), "http://", 7) != 0;
}

/// Memory may be what is missing, for the line as well.
void logTrouble(const char* what, const char* reason) noexcept {
  try {
    KBL_LOG(error, what << reason);
  } catch (...) {
    return;
  }
}

void logEarlyEnd(const char* reason) noexcept {
  logTrouble("media task ended early: ", reason);
}

}  // namespace

SNRRequestTask::SNRRequestTask(MediaErrorCallback onError, std::size_t largestBody)
    : errorCallback_(onError), largestBody_(largestBody) {}

SNRRequestTask::~SNRRequestTask() {
  Stop();
}

std::size_t SNRRequestTask::OnWrite(const char* data, std::size_t size) {
  if (size > largestBody_ - responseBuffer_.size()) return 0;
  responseBuffer_.append(data, size);
  return size;
}

int SNRRequestTask::OnProgress(double, double now, double, double) {
  if (isCancelled()) return 1;
  const std::int64_t time = nowSeconds();
  if (lastChangeTime_ > 0 && time - lastChangeTime_ > stallSeconds) return 1;
  if (now < lastByteCount_ || now > lastByteCount_) {
    lastByteCount_ = now;
    lastChangeTime_ = time;
  }
  return 0;
}

void SNRRequestTask::Start(IExternlMediaTransfer* transfer) {
  transfer_ = transfer;
  if (isOnOwnThread()) return;
  const std::lock_guard lock(threadMutex_);
  if (thread_ || isCancelled()) return;
  try {
    thread_ = std::make_unique<std::thread>([this] { runGuarded(); });
  } catch (const std::exception& failure) {
    logTrouble("media task, no thread: ", failure.what());
  }
}

void SNRRequestTask::Stop() {
  cancel();
  if (isOnOwnThread()) return;
  const std::lock_guard lock(threadMutex_);
  if (!thread_) return;
  thread_->join();
  thread_.reset();
}

void SNRRequestTask::runGuarded() {
  runner_ = std::this_thread::get_id();
  try {
    Run();
  } catch (const std::exception& failure) {
    logEarlyEnd(failure.what());
  } catch (...) {
    logEarlyEnd("unknown exception");
  }
  // The system may give this thread's id to another one as soon as this one has ended.
  runner_ = std::thread::id();
}

void SNRRequestTask::ReportError(int code, const std::string& message) {
  if (errorCallback_ == nullptr || isCancelled()) return;
  hostErrorRecord record{};
  record.code = code;
  copyWide(message, record.message);
  errorCallback_(hostContext_, transfer_, &record);
}

bool SNRRequestTask::fetchPage(const std::string& url, Json::Value& page) {
  std::string body;
  if (!isWebAddress(url)) {
    ReportError(MediaError::fetchFailed, curl_easy_strerror(CURLE_UNSUPPORTED_PROTOCOL));
    return false;
  }
  // What a cancelled fetch has received is still read: the cancel flag keeps all of it from the host.
  if (!Fetch(url, body) && !isCancelled()) {
    ReportError(MediaError::fetchFailed, errorText_);
    return false;
  }
  if (parseJson(body, page)) return true;
  ReportError(MediaError::unusableReply, "can't read json.");
  return false;
}

}  // namespace KBL
