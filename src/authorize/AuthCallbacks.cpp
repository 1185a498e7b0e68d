#include "authorize/AuthCallbacks.h"

#include "authorize/managerLog.h"
#include "authorize/switchboard/RequestFlow.h"
#include <KblUtils/HostCode.h>

#include <algorithm>

namespace KBL {

void AuthCallbacks::add(IExternlMediaAuthCallback* callback) {
  list_.change([&](auto& list) {
    if (std::find(list.begin(), list.end(), callback) == list.end()) list.push_back(callback);
  });
}

void AuthCallbacks::remove(IExternlMediaAuthCallback* callback) {
  list_.change([&](auto& list) { std::erase(list, callback); });
  if (!InsideHostCode::here()) hostCalls_.waitUntilNone(callback);
}

void AuthCallbacks::tell(const Tell& tell) {
  const RequestFlow* const flow = ScopedRequestFlow::current();
  tellWhile([flow] { return flow == nullptr || !flow->canceled(); }, tell);
}

void AuthCallbacks::tellWhile(const std::function<bool()>& wanted, const Tell& tell) {
  const auto atFirst = list_.read();
  for (IExternlMediaAuthCallback* const callback : *atFirst) {
    const HostCalls::Call call(hostCalls_, callback, [&] {
      const auto now = list_.read();
      return wanted() && std::find(now->begin(), now->end(), callback) != now->end();
    });
    if (!call) continue;
    runHostCode([&] { tell(*callback); }, [this](const char* what) { logThrown(what); });
  }
}

void AuthCallbacks::forward(IBsBaseRequest* request, IBsInfoReader* info, IBsErrorInfo* error) {
  const auto answer = [&](IExternlMediaAuthCallback& callback) {
    callback.queryResponse(request, info, error);
  };
  tell(std::cref(answer));
}

void AuthCallbacks::logThrown(const char* what) const {
  KBL_MANAGER_LOG(severityError, "logThrown", logTag_ << ", host callback threw: " << what);
}

}  // namespace KBL
