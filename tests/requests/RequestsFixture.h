#pragma once

#include "requests/BsExternlMediaAuthRequest.h"
#include "support/FakeManager.h"
#include "support/LastRelease.h"
#include "support/ManualTimeSource.h"
#include "support/RecordingLogger.h"
#include "support/ScriptedNetwork.h"
#include "support/TextIn.h"
#include <BsNet/createInfoObject.h>

#include <gtest/gtest.h>

#include <string>

/// A request layer without network: clock, network, logger and manager are the test's own. Every request that
/// a test made must be gone at its end.
class RequestsFixture : public testing::Test {
 protected:
  static constexpr const char* ownerTag = "ema_youtube.7";
  static constexpr const char* uuid = "uuid-of-the-user";
  static constexpr std::uint64_t startMs = 5'000'999;

  explicit RequestsFixture(std::int32_t platform = KBL::ema_youtube);
  void SetUp() override;
  void TearDown() override;

  /// The public information of a host: secret "hush", languages and the rest.
  static KBL::RefPtr<KBL::IBsPubInfo> publicInformation();
  static KBL::RefPtr<KBL::IBsServerProxyInfo> proxyRecord();
  /// The address that the configuration has for the key.
  static std::string urlOf(const std::string& key) { return "http://server.test/" + key; }

  /// A request set up from the manager's context, under its creator's reference.
  template <class Request, class... Arguments>
  KBL::RefPtr<Request> makeRequest(Arguments&&... arguments) {
    auto request = KBL::makeRef<Request>(std::forward<Arguments>(arguments)...);
    KBL::initAuthRequest(context, uuid, *request);
    return request;
  }
  /// Starts the request as its creator does, handing the reference over.
  template <class Request>
  static int startAndHandOver(KBL::RefPtr<Request> request, KBL::IBsInfoReader* info) {
    Request* const raw = request.leak();
    const int result = raw->asyncRequestWithInfo(info);
    if (result != 0) raw->Release();
    return result;
  }

  /// Requests that were made and not yet destroyed.
  [[nodiscard]] int liveRequests() const;
  /// Moves the clock until no request lives and nobody sleeps; false when that does not come about.
  [[nodiscard]] bool settle();
  void killManager();

  ScopedRecordingLogger log;
  ScopedManualTime time{startMs};
  ScriptedNetwork network;
  KBL::AuthContext context;
  KBL::RefPtr<FakeManager> manager;
};

/// "code, message" of an error.
[[nodiscard]] std::string errorText(KBL::IBsErrorInfo& error);
[[nodiscard]] std::string errorText(const KBL::BsExternlMediaAuthRequest& request);
