#pragma once

#include "requests/BsExternlMediaAuthRequest.h"

#include <atomic>
#include <functional>
#include <string>
#include <vector>

/// The frame with its fields open, and a count of the replies that it published.
class ProbeRequest : public KBL::BsExternlMediaAuthRequest {
 public:
  explicit ProbeRequest(const char* requestName = "Probe")
      : BsExternlMediaAuthRequest({KBL::requestNone, KBL::httpPost, "testKey", requestName}) {}

  int handleRequestData(KBL::IBsBaseRequest* self, KBL::IBsInfoReader* info, KBL::IBsErrorInfo* error,
                        KBL::NetReply* reply) override {
    ++published;
    return BsExternlMediaAuthRequest::handleRequestData(self, info, error, reply);
  }

  void setUrlKey(const std::string& key) { urlKey_ = key; }
  void setMethod(int method) { httpMethod_ = method; }
  void setChainMode(int mode) { chainMode_ = mode; }
  void setNotifyMode(int mode) { notifyMode_ = mode; }
  [[nodiscard]] int chainMode() const { return chainMode_; }
  [[nodiscard]] int notifyMode() const { return notifyMode_; }
  [[nodiscard]] int httpMethod() const { return httpMethod_; }
  [[nodiscard]] const std::string& urlKey() const { return urlKey_; }
  [[nodiscard]] const std::map<std::string, std::string>& headers() const { return requestHeaders_; }
  [[nodiscard]] KBL::IBsPubInfo* fullPubInfo() const { return pubInfoCopy_.get(); }
  [[nodiscard]] bool isAborted() { return aborted(); }
  [[nodiscard]] std::vector<KBL::IBsRequstCallback*> registered() { return callbacks(); }

  std::atomic<int> published{0};
};

/// A callback as a host would register one.
class HostCallback : public KBL::IBsRequstCallback {
 public:
  KBL::_Result queryResponse(KBL::IBsBaseRequest* request, KBL::IBsInfoReader* info,
                             KBL::IBsErrorInfo* error) override {
    lastCode = error == nullptr ? 0 : error->errorCode();
    if (action) action(request, info, error);
    ++calls;
    return KBL::resultOk;
  }

  std::function<void(KBL::IBsBaseRequest*, KBL::IBsInfoReader*, KBL::IBsErrorInfo*)> action;
  std::atomic<int> calls{0};
  std::atomic<int> lastCode{0};
};
