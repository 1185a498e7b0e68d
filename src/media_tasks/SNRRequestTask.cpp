#include "media_tasks/SNRRequestTask.h"

#include "json/JsonAccess.h"
#include "media_tasks/mediaRecords.h"
#include <KblLogger/KblLogger.h>

#include <json/value.h>

#include <algorithm>
#include <string_view>
#include <utility>

namespace KBL {

namespace {

/// The task whose thread this is, for as long as its job runs.
thread_local const SNRRequestTask* taskOfThread = nullptr;

}  // namespace

/// The task as its fetcher sees it.
class SNRRequestTask::Listener final : public FetchListener {
 public:
  explicit Listener(SNRRequestTask& task) : task_(task) {}

  bool takePiece(const char* data, std::size_t size) override { return task_.OnWrite(data, size) == size; }
  bool goesOn(const FetchBeat& beat) override {
    return task_.OnProgress(beat.total, beat.now, beat.uploadTotal, beat.uploadNow) == 0;
  }

 private:
  SNRRequestTask& task_;
};

SNRRequestTask::SNRRequestTask(MediaErrorCallback onError, const FetchLimits& limits, MediaFetcher& fetcher)
    : errorCallback_(onError),
      fetcher_(fetcher),
      largestBody_(limits.largestBody),
      stallRule_(limits.longestMs) {}

SNRRequestTask::~SNRRequestTask() {
  Stop();
  // Still there on its own thread alone, which ends now.
  if (thread_) thread_->detach();
}

std::size_t SNRRequestTask::OnWrite(const char* data, std::size_t size) {
  responseBuffer_.append(data, size);
  return size;
}

int SNRRequestTask::OnProgress(double, double now, double, double) {
  return isCancelled() || stallRule_.isBrokenAt(now) ? 1 : 0;
}

bool SNRRequestTask::isThreadOf(const IExternlMediaTransfer* transfer) {
  return taskOfThread != nullptr && taskOfThread->transfer_ == transfer;
}

void SNRRequestTask::Start(IExternlMediaTransfer* transfer, std::shared_ptr<const void> keeper) {
  transfer_ = transfer;
  if (isCancelled() || isOnOwnThread()) return;
  std::unique_lock lock(threadMutex_);
  if (thread_ || isCancelled()) return;
  try {
    thread_ = std::make_unique<std::thread>(
        [this](std::shared_ptr<const void> kept) { run(std::move(kept)); }, std::move(keeper));
  } catch (const std::exception& failure) {
    lock.unlock();
    KBL_LOG(severityError, "media task, no thread: " << failure.what());
  }
}

void SNRRequestTask::Stop() {
  cancel();
  if (isOnOwnThread()) return;
  const std::lock_guard lock(threadMutex_);
  join();
}

bool SNRRequestTask::partWithEndedThread() {
  const std::unique_lock lock(threadMutex_, std::try_to_lock);
  if (!lock || (thread_ && !hasEnded_)) return false;
  join();
  return true;
}

/// Under `threadMutex_`.
void SNRRequestTask::join() {
  if (!thread_) return;
  thread_->join();
  thread_.reset();
  // From now on the system may give that thread's id to another one.
  runner_ = std::thread::id();
}

void SNRRequestTask::run(std::shared_ptr<const void> keeper) {
  runner_ = std::this_thread::get_id();
  taskOfThread = this;
  try {
    Run();
  } catch (const std::exception& failure) {
    reportInternalError(failure.what());
  } catch (...) {
    passThreadEnd();
    reportInternalError("unknown exception");
  }
  taskOfThread = nullptr;
  hasEnded_ = true;
  keeper.reset();  // the task may have gone behind this
}

/// In the place where memory may be what is missing: takes none.
void SNRRequestTask::reportInternalError(const char* reason) {
  KBL_LOG(severityError, "media task ended early: " << reason);
  constexpr std::u16string_view message = u"Internal error.";
  hostErrorRecord record{};
  record.code = MediaError::fetchFailed;
  std::copy(message.begin(), message.end(), record.message);
  report(record);
}

void SNRRequestTask::logThrown(const char* reason) {
  KBL_LOG(severityError, "media task, a callback of the host threw: " << reason);
}

void SNRRequestTask::ReportError(int code, const std::string& message) {
  if (!isCancelled()) report(errorRecord(code, message));
}

bool SNRRequestTask::Fetch(const std::string& url, std::string& body) {
  stallRule_.begin();
  body.clear();
  Listener listener(*this);
  FetchResult result = fetcher_.fetch(url, largestBody_, listener);
  body = std::exchange(responseBuffer_, {});
  httpStatus_ = static_cast<std::int32_t>(result.httpStatus);
  if (result.end == FetchResult::End::good) return true;
  if (result.end == FetchResult::End::processEnds) cancel();
  if (hasStalled()) {
    KBL_LOG_AS(severityWarning, "KBL::SNRRequestTask::perform",
               "media task, the server sends nothing, or too slowly: given up");
  }
  if (!result.error.empty()) errorText_ = std::move(result.error);
  return false;
}

bool SNRRequestTask::fetchPage(const std::string& url, Json::Value& page) {
  std::string body;
  // What a cancelled fetch has received is still read: the cancel flag keeps all of it from the host.
  if (!Fetch(url, body) && !isCancelled()) {
    ReportError(MediaError::fetchFailed, errorText_);
    return false;
  }
  if (parseJson(body, mediaPageForm, page)) return true;
  ReportError(MediaError::unusableReply, "can't read json.");
  return false;
}

}  // namespace KBL
