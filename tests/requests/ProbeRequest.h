#pragma once

#include "requests/BsExternlMediaAuthRequest.h"

#include <atomic>
#include <string>
#include <vector>

/// The frame with its fields open, and a count of the replies that it published.
class ProbeRequest : public KBL::BsExternlMediaAuthRequest {
 public:
  explicit ProbeRequest(const char* requestName = "Probe", int method = KBL::httpPost,
                        const char* urlKey = "testKey")
      : BsExternlMediaAuthRequest({KBL::requestNone, method, urlKey, requestName}) {}

  int handleRequestData(KBL::IBsBaseRequest* self, KBL::IBsInfoReader* info, KBL::IBsErrorInfo* error,
                        KBL::NetReply* reply) override {
    ++published;
    return BsExternlMediaAuthRequest::handleRequestData(self, info, error, reply);
  }

  using BsExternlMediaAuthRequest::fullPubInfo;
  using BsExternlMediaAuthRequest::httpMethod;

  void setChainMode(int mode) { chainPart().setChainMode(mode); }
  void setNotifyMode(int mode) { workerPart().setNotifyMode(mode); }
  [[nodiscard]] int chainMode() { return chainPart().chainMode(); }
  [[nodiscard]] int notifyMode() { return workerPart().notifyMode(); }
  [[nodiscard]] const std::map<std::string, std::string>& headers() const { return exchangePart().headers(); }
  [[nodiscard]] bool isAborted() { return aborted(); }
  [[nodiscard]] std::vector<KBL::IBsRequstCallback*> registered() { return callbacks(); }

  std::atomic<int> published{0};
};
