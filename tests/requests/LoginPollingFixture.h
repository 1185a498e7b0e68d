#pragma once

#include "boundary/records/Records.h"
#include "requests/BsExternlMediaAuthUserSupportSessionRequest.h"
#include "requests/RequestsFixture.h"
#include "support/WaitUntil.h"
#include <ExternlMediaTransfer/ExternlMediaKeys.h>

#include <gmock/gmock.h>

#include <functional>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

inline constexpr const char* sessionAnswer =
    R"({"code":0,"data":{"open_url":"http://open.test/x","session_id":"s-1"}})";
inline constexpr const char* doneAnswer =
    R"({"code":0,"data":{"status":1,"code":"c","callback_url":"http://done.test/","access_token":"platform",)"
    R"("open_id":"uid-1","refresh_token":"refresh","expires_in":3600}})";

inline std::string statusAnswer(int status) {
  return R"({"code":0,"data":{"status":)" + std::to_string(status) + "}}";
}

/// A login whose session request runs on a worker, as a manager starts it, with the test's own references
/// beside the worker's.
class LoginPolling : public RequestsFixture {
 protected:
  explicit LoginPolling(std::int32_t platform = KBL::ema_youtube) : RequestsFixture(platform) {}

  void SetUp() override {
    RequestsFixture::SetUp();
    info = KBL::makeRef<KBL::BsExternlMediaAuthLoginInfo>();
    info->SetProtocol(&infoEnds);
    info->setCharKeyConfig(KBL::ExternlMediaMixedCharKey::accessToken, "account-token");
    info->setCharKeyConfig(KBL::ExternlMediaLoginCharKey::platformId, "0");
    session = makeRequest<KBL::BsExternlMediaAuthUserSupportSessionRequest>();
    session->SetProtocol(&sessionEnds);
    session->addCallback(&KBL::ExternlMediaAuthCallbackProxy::instance(), false);
    network.answer([this](const SentExchange& exchange) { return reply(exchange); });
  }

  /// Nothing may hold the session and its info once the polling has ended: that is the test of every way out.
  void TearDown() override {
    session.reset();
    info.reset();
    RequestsFixture::TearDown();
    EXPECT_TRUE(waitUntil([this] { return sessionEnds.calls == 1; }));
    EXPECT_TRUE(waitUntil([this] { return infoEnds.calls == 1; }));
  }

  KBL::NetReply reply(const SentExchange& exchange) {
    const auto asks = [&](const char* key) { return exchange.url.find(key) != std::string::npos; };
    if (asks("Session")) return okReply(sessionAnswer);
    if (asks("SupportCode")) {
      if (atCode) atCode();
      const std::lock_guard lock(codeMutex);
      return codeReply;
    }
    if (atProfile) atProfile();
    if (asks("Google")) return googleReply;
    if (asks("Categories")) return categoriesReply;
    return okReply(
        R"({"data":{"error_code":0,"nickname":"n","user":{"display_name":"n"}},"error":{"code":0}})");
  }
  void answerCode(const KBL::NetReply& answer) {
    const std::lock_guard lock(codeMutex);
    codeReply = answer;
  }
  void answerCode(const std::string& body) { answerCode(okReply(body)); }

  /// Starts the login and lets its worker go, half a second later; then the polling's timer alone waits.
  void start() {
    ASSERT_EQ(startAndHandOver(session, info.get()), 0);
    ASSERT_TRUE(time->waitForWaiters(3));  // the timer and the worker's two late releases
    time->advance(500);
    ASSERT_TRUE(waitUntil([this] { return references() == 2; }));  // the test's and the polling's
    toNextTickMs = 2500;
  }
  [[nodiscard]] int references() const {
    session->AddRef();
    return session->Release();
  }
  [[nodiscard]] std::size_t polls() const { return network.exchanges("/urlLFServerUserSupportCode/").size(); }
  [[nodiscard]] bool hasEnded() const { return !log->linesWith(",use ms: ").empty(); }
  /// Moves on to the next tick and waits until it is over: it has asked or ended the polling, and somebody
  /// waits again, which nobody does during a tick.
  void tick() {
    const std::size_t before = polls();
    ASSERT_TRUE(time->waitForWaiters(1));
    time->advance(std::exchange(toNextTickMs, 3000));
    ASSERT_TRUE(waitUntil([&] { return polls() > before || hasEnded(); }));
    ASSERT_TRUE(time->waitForWaiters(1));
  }
  /// Goes on from tick to tick until the polling has logged its end, and returns that line's text up to the
  /// time.
  std::string end() {
    for (int ticks = 0; ticks < 100 && !hasEnded() && !HasFatalFailure(); ++ticks) tick();
    if (!hasEnded()) return "(no end)";
    const std::string text = log->linesWith(",use ms: ")[0].text;
    return text.substr(0, text.find(",use ms: "));
  }
  [[nodiscard]] std::vector<std::string> forwarded() const {
    std::vector<std::string> errors;
    for (const ManagerCall& call : manager->calls("cbRequestForward")) {
      errors.push_back(call.requestName + ": " + std::to_string(call.code) + ", " + call.message);
    }
    return errors;
  }
  [[nodiscard]] std::vector<std::string> profiles() const {
    std::vector<std::string> names;
    for (const ManagerCall& call : manager->calls("queryResponse")) {
      if (call.requestName != "ExternlMediaAuthUserSupportSession") names.push_back(call.requestName);
    }
    return names;
  }

  LastRelease infoEnds;
  LastRelease sessionEnds;
  KBL::RefPtr<KBL::BsExternlMediaAuthLoginInfo> info;
  KBL::RefPtr<KBL::BsExternlMediaAuthUserSupportSessionRequest> session;
  std::int64_t toNextTickMs = 3000;
  std::function<void()> atCode;
  std::function<void()> atProfile;
  std::mutex codeMutex;
  KBL::NetReply codeReply = okReply(statusAnswer(0));
  KBL::NetReply googleReply = okReply(R"({"id":"uid-1","name":"Ann"})");
  KBL::NetReply categoriesReply = okReply(R"({"items":[{"snippet":{"title":"A","assignable":true}}]})");
};
