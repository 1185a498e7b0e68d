#pragma once

#include "foundation/BsNet/BsErrorInfo.h"
#include "foundation/BsNet/BsRequestParamReply.h"
#include "foundation/BsNet/KblBaseRequest.h"
#include "foundation/BsNet/NetKeys.h"
#include "foundation/BsNet/createInfoObject.h"
#include "foundation/bsnet/FakeNetworkClient.h"
#include "foundation/object/CastByName.h"

#include <atomic>
#include <functional>
#include <utility>

/// The base request with its inner operations open to the test; counts those that are alive.
class Request : public KBL::KblBaseRequest {
 public:
  Request() { ++alive; }
  ~Request() override { --alive; }
  using KblBaseRequest::_callback;
  using KblBaseRequest::asyncMutex;
  using KblBaseRequest::asyncThread;
  using KblBaseRequest::callbacks;
  using KblBaseRequest::startThread;
  static inline std::atomic<int> alive{0};
};

/// Counts what it hears.
class Listener : public KBL::IBsRequstCallback {
 public:
  explicit Listener(std::function<void()> onCall = {}) : onCall_(std::move(onCall)) {}
  KBL::_Result queryResponse(KBL::IBsBaseRequest* request, KBL::IBsInfoReader* info,
                             KBL::IBsErrorInfo* error) override {
    lastRequest = request;
    lastInfo = info;
    lastCode = error != nullptr ? error->errorCode() : 0;
    if (onCall_) onCall_();
    ++calls;
    return KBL::resultOk;
  }
  std::atomic<int> calls{0};
  std::atomic<int> lastCode{0};
  KBL::IBsBaseRequest* lastRequest = nullptr;
  KBL::IBsInfoReader* lastInfo = nullptr;

 private:
  std::function<void()> onCall_;
};

inline KBL::RefPtr<KBL::BsRequestParamReply> paramFor(const char* url) {
  auto param = KBL::makeRef<KBL::BsRequestParamReply>();
  param->setCharKeyConfig(KBL::RequestParamCharKey::url, url);
  return param;
}

inline FakeNetwork::Answer always(const KBL::NetReply& reply) {
  return [reply](const SeenExchange&, KBL::IBsResponseWriteCallback*, KBL::IBsProgressCallback*) {
    return reply;
  };
}

inline KBL::RefPtr<KBL::IBsServerProxyInfo> proxyRecord(int mode, int type, const char* server, int port) {
  const auto reader = KBL::adoptRef(createInfoObject(KBL::infoObjectServerProxy));
  auto* const record = KBL::queryInterface<KBL::BsBaseInfoRW>(reader.get(), "BsBaseInfoRW");
  record->setIntKeyConfig(KBL::ServerProxyIntKey::mode, mode);
  record->setIntKeyConfig(KBL::ServerProxyIntKey::type, type);
  record->setIntKeyConfig(KBL::ServerProxyIntKey::port, port);
  if (server != nullptr) record->setCharKeyConfig(KBL::ServerProxyCharKey::server, server);
  record->setCharKeyConfig(KBL::ServerProxyCharKey::user, "");
  record->setCharKeyConfig(KBL::ServerProxyCharKey::password, "");
  return KBL::shareRef(KBL::queryInterface<KBL::IBsServerProxyInfo>(reader.get(), "IBsServerProxyInfo"));
}
