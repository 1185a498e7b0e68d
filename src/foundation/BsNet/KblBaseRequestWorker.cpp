// The worker thread and the abort flag of KblBaseRequest.
#include "foundation/BsNet/KblBaseRequest.h"

#include <utility>

namespace KBL {

std::shared_ptr<std::thread> KblBaseRequest::startThread(std::function<void()> work) {
  const auto detachAndDelete = [](std::thread* thread) {
    if (thread->joinable()) thread->detach();
    delete thread;
  };
  try {
    // The handle stands before the thread runs, so that short memory cannot leave a thread without one.
    std::shared_ptr<std::thread> handle(new std::thread, detachAndDelete);
    *handle = std::thread([work = std::move(work)]() mutable {
      try {
        work();
        work = nullptr;
      } catch (...) {
      }
    });
    return handle;
  } catch (...) {
    return nullptr;
  }
}

void KblBaseRequest::letOwnThreadGo() {
  const std::lock_guard lock(asyncMutex);
  if (asyncThread != nullptr && asyncThread->get_id() == std::this_thread::get_id()) asyncThread->detach();
}

_Result KblBaseRequest::asyncRequest(IBsRequestParamReply* param, IBsErrorInfo* error, bool) {
  if (param == nullptr || error == nullptr) return resultFailed;
  const std::lock_guard lock(asyncMutex);
  if (asyncRunning) return resultFailed;
  {
    const std::lock_guard abortLock(abortMutex);
    abortFlag = 0;
  }
  asyncRunning = true;
  auto thread = startThread([self = shareRef(this), param = shareRef(param), error = shareRef(error)] {
    self->syncRequest(param.get(), error.get());
    {
      const std::lock_guard runLock(self->asyncMutex);
      self->asyncRunning = false;  // a callback may start the next run
    }
    self->_callback(param.get(), error.get(), false);
    self->letOwnThreadGo();
  });
  if (thread == nullptr) {
    asyncRunning = false;
    return resultFailed;
  }
  asyncThread = std::move(thread);
  return resultOk;
}

_Result KblBaseRequest::clearAsyncRequest() {
  std::shared_ptr<std::thread> thread;
  {
    const std::lock_guard lock(asyncMutex);
    thread = std::exchange(asyncThread, nullptr);
  }
  if (thread != nullptr && thread->joinable() && thread->get_id() != std::this_thread::get_id())
    thread->join();
  return resultOk;
}

_Result KblBaseRequest::abordAsyncRequest() {
  const std::lock_guard lock(abortMutex);
  abortFlag = 1;
  return resultOk;
}

bool KblBaseRequest::isAborted() {
  const std::lock_guard lock(abortMutex);
  return abortFlag != 0;
}

int KblBaseRequest::isAsyncRequestFinished() {
  const std::lock_guard lock(asyncMutex);
  return asyncRunning ? 0 : 1;
}

}  // namespace KBL
