#pragma once

#include <BsNet/IBsBaseRequest.h>
#include <BsNet/IBsErrorInfo.h>
#include <BsNet/IBsRequstCallback.h>

#include <atomic>
#include <functional>
#include <utility>

/// Counts what a request tells it, and does something at each. Needs no memory.
class RequestListener final : public KBL::IBsRequstCallback {
 public:
  using Action = std::function<void(KBL::IBsBaseRequest*, KBL::IBsInfoReader*, KBL::IBsErrorInfo*)>;

  explicit RequestListener(Action whenTold = {}) : action(std::move(whenTold)) {}

  KBL::_Result queryResponse(KBL::IBsBaseRequest* request, KBL::IBsInfoReader* info,
                             KBL::IBsErrorInfo* error) override {
    lastRequest = request;
    lastInfo = info;
    lastCode = error == nullptr ? 0 : error->errorCode();
    if (action) action(request, info, error);
    ++calls;
    return answer;
  }

  Action action;
  KBL::_Result answer = KBL::resultOk;
  std::atomic<int> calls{0};
  std::atomic<int> lastCode{0};
  std::atomic<KBL::IBsBaseRequest*> lastRequest{nullptr};
  std::atomic<KBL::IBsInfoReader*> lastInfo{nullptr};
};
