#pragma once

#include "support/RequestListener.h"
#include "support/ScriptedNetwork.h"
#include <BsNet/BsErrorInfo.h>
#include <BsNet/BsRequestParamReply.h>
#include <BsNet/KblBaseRequest.h>
#include <BsNet/NetKeys.h>
#include <BsNet/createInfoObject.h>
#include <KblUtils/CastByName.h>

#include <atomic>

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

inline KBL::RefPtr<KBL::BsRequestParamReply> paramFor(const char* url) {
  auto param = KBL::makeRef<KBL::BsRequestParamReply>();
  param->setCharKeyConfig(KBL::RequestParamCharKey::url, url);
  return param;
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
