#include "boundary/ExternlMediaDlTransfer.h"

#include "boundary/ExternlMediaTransfer.h"
#include "foundation/BsNet/Result.h"
#include "foundation/object/CastByName.h"
#include "media_tasks/SNRFacebookDownloadMediaTask.h"
#include "media_tasks/SNRFacebookEnumAlbumInfoTask.h"
#include "media_tasks/SNRFacebookEnumMediaInfoTask.h"
#include "media_tasks/SNRFlickrImageTask.h"
#include "media_tasks/SNRInstagramImageTask.h"

#include <algorithm>
#include <exception>
#include <new>
#include <thread>
#include <utility>

namespace KBL {

namespace {

enum DownloadCommand : int {
  commandDownloadFile = 10,
  commandListAlbums = 11,
  commandListFacebookMedia = 12,
  commandListFlickrMedia = 13,
  commandListInstagramMedia = 14,
  commandHostContext = 15,
};

/// Has another thread wait for the task and destroy it.
void leaveToAnotherThread(std::unique_ptr<SNRRequestTask> task) {
  SNRRequestTask* const left = task.release();
  try {
    std::thread([left] { delete left; }).detach();
  } catch (const std::exception&) {
    // Neither memory nor threads are left: the task stays, since one that runs may not be freed.
  }
}

}  // namespace

ExternlMediaDlTransfer::~ExternlMediaDlTransfer() {
  if (isInsideCallback()) {
    leaveTasks();
  } else {
    stopAll();
  }
  hostContext_ = nullptr;
}

void* ExternlMediaDlTransfer::QueryInterfaceByName(const char* name) {
  return castByName(this, name, Named<IExternlMediaTransfer>{"IExternlMediaTransfer"});
}

std::int32_t ExternlMediaDlTransfer::Start() {
  if (SNRDownloadTask_) SNRDownloadTask_->Start(this);
  return resultNotStarted;
}

std::int32_t ExternlMediaDlTransfer::Stop() {
  stopAll();
  return resultOk;
}

/// Inside a callback only the current task is stopped: two callbacks that waited for each other's task would
/// never return.
void ExternlMediaDlTransfer::stopAll() {
  if (SNRDownloadTask_) SNRDownloadTask_->Stop();
  if (isInsideCallback()) return;
  for (const auto& task : earlierTasks_) task->Stop();
}

bool ExternlMediaDlTransfer::isInsideCallback() const {
  if (SNRDownloadTask_ && SNRDownloadTask_->isOnOwnThread()) return true;
  return std::any_of(earlierTasks_.begin(), earlierTasks_.end(),
                     [](const auto& task) { return task->isOnOwnThread(); });
}

/// The thread that ends here can't wait for itself.
void ExternlMediaDlTransfer::leaveTasks() {
  if (SNRDownloadTask_) {
    SNRDownloadTask_->cancel();
    leaveToAnotherThread(std::move(SNRDownloadTask_));
  }
  for (auto& task : earlierTasks_) leaveToAnotherThread(std::move(task));
}

// NOLINTNEXTLINE(cert-dcl50-cpp): hosts are built against these arguments
std::int32_t ExternlMediaDlTransfer::Command(int command, ...) {
  std::va_list arguments;
  va_start(arguments, command);
  const std::int32_t result = runCommand(command, arguments);
  va_end(arguments);
  return result;
}

std::int32_t ExternlMediaDlTransfer::runCommand(int command, std::va_list arguments) {
  switch (command) {
    case commandDownloadFile:
      return commandDownload(arguments);
    case commandListAlbums:
      return commandAlbums(arguments);
    case commandListFacebookMedia:
      return commandFacebookMedia(arguments);
    case commandListFlickrMedia:
      return commandFlickrMedia(arguments);
    case commandListInstagramMedia:
      return commandInstagramMedia(arguments);
    case commandHostContext:
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
  hostContext_ = context;
  if (SNRDownloadTask_) SNRDownloadTask_->setHostContext(context);
  return resultOk;
}

template <class Task, class... Arguments>
std::int32_t ExternlMediaDlTransfer::replaceTask(Arguments&&... arguments) {
  stopAll();
  try {
    // The earlier task is only put aside: the host may be inside one of its callbacks.
    earlierTasks_.reserve(earlierTasks_.size() + 1);
    if (SNRDownloadTask_) earlierTasks_.push_back(std::move(SNRDownloadTask_));
    SNRDownloadTask_ = std::make_unique<Task>(std::forward<Arguments>(arguments)...);
  } catch (const std::bad_alloc&) {
    return resultNoObject;
  }
  SNRDownloadTask_->setHostContext(hostContext_);
  return resultOk;
}

// NOLINTNEXTLINE(cert-dcl50-cpp): hosts are built against these arguments
std::int32_t ExternlMediaDlTransfer::Query(int command, ...) {
  if (command != commandHostContext) return resultUnknownCommand;
  std::va_list arguments;
  va_start(arguments, command);
  auto* const context = va_arg(arguments, void**);
  va_end(arguments);
  if (context == nullptr) return resultNullArgument;
  *context = hostContext_;
  return resultUnknownCommand;
}

}  // namespace KBL

KBL::IExternlMediaTransfer* createEMTDlTransfer() {
  auto* const transfer = new (std::nothrow) KBL::ExternlMediaDlTransfer;
  if (transfer != nullptr) transfer->AddRef();
  return transfer;
}
