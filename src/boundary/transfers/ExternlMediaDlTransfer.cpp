#include "boundary/transfers/ExternlMediaDlTransfer.h"

#include "media_tasks/CurlMediaFetcher.h"
#include "media_tasks/SNRFacebookDownloadMediaTask.h"
#include "media_tasks/SNRFacebookEnumAlbumInfoTask.h"
#include "media_tasks/SNRFacebookEnumMediaInfoTask.h"
#include "media_tasks/SNRFlickrImageTask.h"
#include "media_tasks/SNRInstagramImageTask.h"
#include <ExternlMediaTransfer/TransferNumbers.h>
#include <KblLogger/KblLogger.h>
#include <KblUtils/CastByName.h>
#include <KblUtils/HostCode.h>
#include <KblUtils/Result.h>

#include <new>
#include <utility>

namespace KBL {

void* ExternlMediaDlTransfer::QueryInterfaceByName(const char* name) {
  return castByName(this, name, Named<IExternlMediaTransfer>{"IExternlMediaTransfer"},
                    Named<IExternlMediaDownloadNews>{"IExternlMediaDownloadNews"});
}

std::int32_t ExternlMediaDlTransfer::HttpStatus() {
  const std::lock_guard lock(mutex_);
  return SNRDownloadTask_ ? SNRDownloadTask_->httpStatus() : 0;
}

void ExternlMediaDlTransfer::RefuseErrorStatus(bool refuses) {
  const std::lock_guard lock(mutex_);
  refusesErrorStatus_ = refuses;
  if (SNRDownloadTask_) SNRDownloadTask_->refuseErrorStatus(refuses);
}

// A task that is there when a Stop begins is cancelled by it, and one that comes later is started behind it
// alone: so that Start needs no lock once it has its task.
std::int32_t ExternlMediaDlTransfer::start() {
  SNRRequestTask* task = nullptr;
  {
    const std::lock_guard lock(mutex_);
    if (runningStops_ == 0) task = SNRDownloadTask_.get();
  }
  if (task != nullptr) task->Start(this, weak_from_this().lock());
  return resultNotStarted;
}

std::int32_t ExternlMediaDlTransfer::stop() {
  stopTasks();
  return resultOk;
}

/// Inside a callback nothing is waited for: two callbacks that waited for each other's task would never
/// return.
void ExternlMediaDlTransfer::stopTasks() {
  if (SNRRequestTask::isThreadOf(this)) {
    const std::lock_guard lock(mutex_);
    if (SNRDownloadTask_) SNRDownloadTask_->cancel();
    return;
  }
  waitForTasks(beginStop());
  const std::lock_guard lock(mutex_);
  --runningStops_;
}

void ExternlMediaDlTransfer::fallSilent() {
  SNRRequestTask* const task = beginStop();
  if (InsideHostCode::here() || SNRRequestTask::isThreadOf(this)) return;
  waitForTasks(task);
}

/// From now on no task starts. Gives the one that is there, cancelled, or null.
SNRRequestTask* ExternlMediaDlTransfer::beginStop() {
  const std::lock_guard lock(mutex_);
  ++runningStops_;
  if (SNRDownloadTask_) SNRDownloadTask_->cancel();
  return SNRDownloadTask_.get();
}

/// Waits for that task, and for the earlier ones.
void ExternlMediaDlTransfer::waitForTasks(SNRRequestTask* stopped) {
  const bool hasEnded = stopped == nullptr || stopped->partWithEndedThread();
  if (partWithEndedThreads() && hasEnded) return;
  waitWithoutPython([&] { joinTasks(stopped); });
}

/// A command in a callback may put that task among the earlier ones meanwhile.
void ExternlMediaDlTransfer::joinTasks(SNRRequestTask* stopped) {
  if (stopped != nullptr) stopped->Stop();
  while (SNRRequestTask* const task = firstUnjoined()) {
    task->Stop();
    noteJoined(task);
  }
}

void ExternlMediaDlTransfer::logThrown(const char* what) {
  KBL_LOG(severityError, "download transfer, the protocol of the host threw: " << what);
}

/// What a chain of commands in callbacks leaves behind. Waits for nothing; true when no earlier task is left
/// that may have a thread.
bool ExternlMediaDlTransfer::partWithEndedThreads() {
  while (SNRRequestTask* const task = firstUnjoined()) {
    if (!task->partWithEndedThread()) return false;
    noteJoined(task);
  }
  return true;
}

SNRRequestTask* ExternlMediaDlTransfer::firstUnjoined() const {
  const std::lock_guard lock(mutex_);
  return joinedTasks_ < earlierTasks_.size() ? earlierTasks_[joinedTasks_].get() : nullptr;
}

void ExternlMediaDlTransfer::noteJoined(const SNRRequestTask* task) {
  const std::lock_guard lock(mutex_);
  const bool isNext = joinedTasks_ < earlierTasks_.size() && earlierTasks_[joinedTasks_].get() == task;
  if (isNext) ++joinedTasks_;
}

std::int32_t ExternlMediaDlTransfer::runCommand(int command, std::va_list arguments) {
  switch (command) {
    case commandDownloadFile:
      return commandDownload(arguments);
    case commandListFacebookAlbums:
      return commandAlbums(arguments);
    case commandListFacebookMedia:
      return commandFacebookMedia(arguments);
    case commandListFlickrMedia:
      return commandFlickrMedia(arguments);
    case commandListInstagramMedia:
      return commandInstagramMedia(arguments);
    case commandSetContext:
      return setContext(va_arg(arguments, void*));
    default:
      return resultUnknownCommand;
  }
}

std::int32_t ExternlMediaDlTransfer::commandDownload(std::va_list arguments) {
  const auto* const url = va_arg(arguments, const char*);
  const auto* const savePath = va_arg(arguments, const char*);
  const auto onError = va_arg(arguments, MediaErrorCallback);
  const auto onProgress = va_arg(arguments, MediaProgressCallback);
  if (url == nullptr || savePath == nullptr) return resultNullArgument;
  return replaceTask<SNRFacebookDownloadMediaTask>(url, savePath, onError, onProgress);
}

std::int32_t ExternlMediaDlTransfer::commandAlbums(std::va_list arguments) {
  const auto* const token = va_arg(arguments, const char*);
  const auto onAlbum = va_arg(arguments, AlbumCallback);
  const auto onError = va_arg(arguments, MediaErrorCallback);
  if (token == nullptr) return resultNullArgument;
  return replaceTask<SNRFacebookEnumAlbumInfoTask>(token, onAlbum, onError);
}

std::int32_t ExternlMediaDlTransfer::commandFacebookMedia(std::va_list arguments) {
  const auto* const token = va_arg(arguments, const char*);
  const auto* const albumId = va_arg(arguments, const char*);
  const auto onMedia = va_arg(arguments, MediaCallback);
  const auto onError = va_arg(arguments, MediaErrorCallback);
  if (token == nullptr || albumId == nullptr) return resultNullArgument;
  return replaceTask<SNRFacebookEnumMediaInfoTask>(token, albumId, onMedia, onError);
}

std::int32_t ExternlMediaDlTransfer::commandFlickrMedia(std::va_list arguments) {
  const auto* const key = va_arg(arguments, const char*);
  const auto* const secret = va_arg(arguments, const char*);
  const auto* const tokenPair = va_arg(arguments, const char*);
  const auto onMedia = va_arg(arguments, MediaCallback);
  const auto onError = va_arg(arguments, MediaErrorCallback);
  if (key == nullptr || secret == nullptr || tokenPair == nullptr) return resultNullArgument;
  return replaceTask<SNRFlickrImageTask>(key, secret, tokenPair, onMedia, onError);
}

std::int32_t ExternlMediaDlTransfer::commandInstagramMedia(std::va_list arguments) {
  const auto* const token = va_arg(arguments, const char*);
  const auto onMedia = va_arg(arguments, MediaCallback);
  const auto onError = va_arg(arguments, MediaErrorCallback);
  if (token == nullptr) return resultNullArgument;
  return replaceTask<SNRInstagramImageTask>(token, onMedia, onError);
}

std::int32_t ExternlMediaDlTransfer::setContext(void* context) {
  const std::lock_guard lock(mutex_);
  hostContext_ = context;
  if (SNRDownloadTask_) SNRDownloadTask_->setHostContext(context);
  return resultOk;
}

template <class Task, class... Arguments>
std::int32_t ExternlMediaDlTransfer::replaceTask(Arguments&&... arguments) {
  stopTasks();
  try {
    std::unique_ptr<SNRRequestTask> task =
        std::make_unique<Task>(std::forward<Arguments>(arguments)..., curlMediaFetcher());
    // Another thread's command may have come between.
    while (!install(task)) stopTasks();
    (void)partWithEndedThreads();
  } catch (const std::bad_alloc&) {
    return resultNoObject;
  }
  return resultOk;
}

/// False when the task that is there was not stopped. That one is only put aside: the host may be inside one
/// of its callbacks.
bool ExternlMediaDlTransfer::install(std::unique_ptr<SNRRequestTask>& task) {
  const std::lock_guard lock(mutex_);
  if (SNRDownloadTask_) {
    if (!SNRDownloadTask_->isCancelled()) return false;
    earlierTasks_.push_back(std::move(SNRDownloadTask_));
  }
  task->setHostContext(hostContext_);
  task->refuseErrorStatus(refusesErrorStatus_);
  SNRDownloadTask_ = std::move(task);
  return true;
}

std::int32_t ExternlMediaDlTransfer::runQuery(int command, std::va_list arguments) {
  if (command != queryContext) return resultUnknownCommand;
  auto* const context = va_arg(arguments, void**);
  if (context == nullptr) return resultNullArgument;
  const std::lock_guard lock(mutex_);
  *context = hostContext_;
  return resultUnknownCommand;
}

}  // namespace KBL
