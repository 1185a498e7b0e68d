#include "sandbox/base/JsonText.h"
#include "sandbox/services/page/PageFixture.h"
#include "support/WaitUntil.h"

#include <thread>
#include <vector>

namespace {

using sandbox::Fault;
using sandbox::Platform;
using sandbox::Route;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

/// The serial number of the latest exchange that has ended, once there is one.
std::uint64_t lastEnded(const sandbox::Sandbox& server) {
  std::uint64_t serial = 0;
  EXPECT_TRUE(waitUntil([&] {
    const sandbox::ExchangeNews news = server.exchangesSince(0);
    if (news.exchanges.empty() || !news.exchanges.back().ended) return false;
    serial = news.exchanges.back().serial;
    return true;
  }));
  return serial;
}

TEST_F(PageTest, AddressOfTheServersLeadsToThePage) {
  const Answer root = client.get("/");
  EXPECT_EQ(root.status, 302);
  EXPECT_EQ(root.header("Location"), "/sandbox/");

  const Answer page = client.get("/sandbox/");

  EXPECT_EQ(page.status, 200);
  EXPECT_EQ(page.header("Content-Type"), "text/html; charset=utf-8");
  EXPECT_THAT(page.header("Content-Security-Policy"),
              AllOf(HasSubstr("default-src 'none'"), HasSubstr("frame-ancestors 'none'")));
  EXPECT_THAT(page.body, HasSubstr("<html lang=\"en\">"));
}

TEST_F(PageTest, EveryFileThatIsNamedIsThere) {
  for (const char* name : {"page.css", "page.js"}) {
    EXPECT_THAT(client.get("/sandbox/").body, HasSubstr(std::string("page/") + name));
    const Answer file = client.get(std::string("/sandbox/page/") + name);
    EXPECT_EQ(file.status, 200) << name;
    EXPECT_EQ(file.header("X-Content-Type-Options"), "nosniff");
  }
  EXPECT_EQ(client.get("/sandbox/page/page.js").header("Content-Type"), "text/javascript; charset=utf-8");
  EXPECT_EQ(client.get("/sandbox/page/nothing.js").status, 404);
  EXPECT_EQ(client.get("/sandbox/page/../Sandbox.h").status, 404);
}

TEST_F(PageTest, IsForThisMachinesOwnBrowserAlone) {
  const std::string own = server.baseUrl();
  for (const char* path : {"/", "/sandbox/", "/sandbox/page/page.js", "/sandbox/events",
                           "/sandbox/exchanges/1", "/sandbox/uploads"}) {
    EXPECT_EQ(client.get(path, {{"Origin", "http://evil.example"}}).status, 403) << path;
    EXPECT_EQ(client.get(path, {{"Origin", "null"}}).status, 403) << path;
    EXPECT_EQ(client.get(path, {{"Host", "evil.example"}}).status, 403) << path;
    EXPECT_EQ(client.get(path, {{"Sec-Fetch-Site", "cross-site"}}).status, 403) << path;
    EXPECT_EQ(client.get(path, {{"Sec-Fetch-Site", "same-site"}}).status, 403) << path;
  }
  EXPECT_EQ(client.get("/sandbox/", {{"Origin", own}, {"Sec-Fetch-Site", "same-origin"}}).status, 200);
  EXPECT_EQ(client.get("/sandbox/", {{"Sec-Fetch-Site", "none"}}).status, 200);
}

TEST_F(PageTest, IsNotThereUnlessItIsAskedFor) {
  sandbox::Sandbox plain;
  TestClient other(plain);

  EXPECT_EQ(other.get("/").status, 404);
  EXPECT_EQ(other.get("/sandbox/").status, 404);
  EXPECT_EQ(other.get("/sandbox/events").status, 404);
  EXPECT_TRUE(plain.exchangesSince(0).exchanges.empty());
}

TEST_F(PageTest, ToldOfAnExchangeWhenItBeginsAndWhenItEnds) {
  EventConnection events(server);
  const auto id = server.orderFault(Route::consume, Fault::stall());
  std::thread asking([&] { client.post("/account/consume?access_token=sbx-access-Ab12Cd34", "{}"); });

  EXPECT_TRUE(events.hears(R"("ended":false)"));
  EXPECT_TRUE(server.waitForFaults(id, 1, generousLimit));
  server.releaseStalls();

  EXPECT_TRUE(events.hears(R"("ended":true)"));
  asking.join();
  EXPECT_TRUE(events.hears("\n\n"));
  EXPECT_THAT(events.heard(), AllOf(HasSubstr("text/event-stream"), HasSubstr("event: exchanges\ndata: "),
                                    HasSubstr(R"("target":"/account/consume?access_token=sbx-access-Ab12)"),
                                    Not(HasSubstr("Cd34"))));
}

TEST_F(PageTest, EventsTellWhatWasBeforeThem) {
  client.get("/nowhere");
  lastEnded(server);

  EventConnection events(server);

  EXPECT_TRUE(events.hears(R"("target":"/nowhere")"));
}

TEST_F(PageTest, DoesNotTellOfItself) {
  client.get("/sandbox/");
  client.get("/nowhere");
  lastEnded(server);

  EXPECT_EQ(server.exchangesSince(0).exchanges.size(), 1U);
}

TEST_F(PageTest, ShowsRequestAndReplyWithoutSecrets) {
  client.post("/account/client_credentials",
              R"({"grant_type":"client_credentials","app_secret":"sandbox-app-secret"})",
              {{"Authorization", "Bearer hush"}});

  const Json::Value both = client.get("/sandbox/exchanges/" + std::to_string(lastEnded(server))).json();

  EXPECT_THAT(both["request"]["head"].asString(),
              AllOf(HasSubstr("POST /account/client_credentials HTTP/1.1\n"),
                    HasSubstr("Authorization: Bearer ***")));
  EXPECT_THAT(both["request"]["body"].asString(),
              AllOf(HasSubstr("\"***\""), Not(HasSubstr("sandbox-app-secret"))));
  EXPECT_THAT(both["reply"]["head"].asString(), HasSubstr("HTTP/1.1 200 OK\n"));
  EXPECT_THAT(both["reply"]["body"].asString(), HasSubstr("sbx-account-"));
  EXPECT_THAT(both["reply"]["body"].asString(), HasSubstr("\xE2\x80\xA6\""));
  EXPECT_FALSE(both["reply"]["cut"].asBool());
  EXPECT_EQ(client.get("/sandbox/exchanges/99999").status, 404);
  EXPECT_EQ(client.get("/sandbox/exchanges/x").status, 404);
}

TEST_F(PageTest, ShowsBodiesUnpackedAndOnlyTheirBeginning) {
  const auto token = server.issueTokens(Platform::youtube).accessToken;
  client.get("/google/oauth2/v2/userinfo?alt=json&access_token=" + token, {{"Accept-Encoding", "gzip"}});
  const Json::Value packed = client.get("/sandbox/exchanges/" + std::to_string(lastEnded(server))).json();
  EXPECT_THAT(packed["reply"]["body"].asString(), HasSubstr("ada.quill@example.com"));

  client.post("/account/consume", std::string(40000, 'x'));
  const Json::Value large = client.get("/sandbox/exchanges/" + std::to_string(lastEnded(server))).json();

  EXPECT_TRUE(large["request"]["cut"].asBool());
  EXPECT_EQ(large["request"]["body"].asString().size(), 16384U);
}

TEST_F(PageTest, TellsWhatReallyWentOut) {
  const auto id = server.orderFault(Route::consume, Fault::resetAnswerAfter(0));
  client.post("/account/consume", "{}");

  const std::uint64_t serial = lastEnded(server);
  const sandbox::ExchangeRecord cut = server.exchangesSince(0).exchanges.back();
  EXPECT_EQ(cut.serial, serial);
  EXPECT_EQ(cut.status, 0);
  EXPECT_EQ(cut.replySize, 0U);
  EXPECT_EQ(cut.fault, id);
  EXPECT_EQ(client.get("/sandbox/exchanges/" + std::to_string(serial)).json()["reply"]["body"], "");

  server.orderFault(Route::consume, Fault::status(503, "busy"));
  client.post("/account/consume", "{}");
  EXPECT_EQ((lastEnded(server), server.exchangesSince(0).exchanges.back().status), 503);
  EXPECT_EQ(server.faultsOutstanding(), 0U);
}

TEST_F(PageTest, TellsWhoIsSignedInWithMaskedTokens) {
  EventConnection events(server);
  EXPECT_TRUE(events.hears("event: people\n"));
  const auto tokens = server.issueTokens(Platform::vimeo, server.users()[1].openId);

  EXPECT_TRUE(events.hears(R"("platform_name":"Vimeo")"));
  EXPECT_TRUE(events.hears(tokens.refreshToken.substr(0, 16) + "\xE2\x80\xA6\""));
  EXPECT_THAT(events.heard(), AllOf(HasSubstr(tokens.accessToken.substr(0, 15) + "\xE2\x80\xA6\""),
                                    Not(HasSubstr(tokens.accessToken)), Not(HasSubstr(tokens.refreshToken))));

  server.revokeTokens();
  EXPECT_TRUE(events.hears(R"("signed_in":[])"));
}

TEST_F(PageTest, TellsOfLoginsThatWaitAndOfTheirAnswers) {
  server.setConsent(sandbox::Consent::ask);
  EventConnection events(server);
  EXPECT_TRUE(events.hears(R"("consent":"ask")"));

  client.post("/account/session",
              R"({"platform":2,"use_client":1,"is_callback_token":1,"scope":["one.scope"]})",
              {bearer(server.issueAccountToken())});

  EXPECT_TRUE(events.hears(R"("platform":"TikTok")"));
  EXPECT_TRUE(events.hears("one.scope"));
  EXPECT_TRUE(server.deny(server.loginSessions().back().id));
  EXPECT_TRUE(events.hears(R"("decision":"denied")"));
  server.setConsent(sandbox::Consent::never);
  EXPECT_TRUE(events.hears(R"("consent":"never")"));
}

TEST_F(PageTest, TellsOfFaultsAndHowOftenTheyWereDelivered) {
  EventConnection events(server);
  EXPECT_TRUE(events.hears(R"("name":"resetAnswerAfter")"));
  EXPECT_TRUE(events.hears(R"("youtubeUploadChunk")"));

  server.orderFault(Route::consume, Fault::status(503), 1, 2);
  EXPECT_TRUE(events.hears(R"("delivered":0)"));
  client.post("/account/consume", "{}");

  EXPECT_TRUE(events.hears(R"("delivered":1)"));
}

TEST_F(PageTest, KeepsAnApplicationSecretOfSomebodysOwn) {
  sandbox::SandboxOptions options = withPage();
  options.appSecret = "hush";
  sandbox::Sandbox other(options);
  EventConnection events(other);

  EXPECT_TRUE(events.hears("event: people\n"));

  EXPECT_THAT(events.heard(), AllOf(HasSubstr(R"("app_secret":"***")"), Not(HasSubstr("hush"))));
}

TEST_F(PageTest, KeepsTheLatestThousand) {
  for (int i = 0; i < 1001; ++i) client.get("/nowhere/" + std::to_string(i));
  lastEnded(server);

  const sandbox::ExchangeNews news = server.exchangesSince(0);

  ASSERT_EQ(news.exchanges.size(), 1000U);
  EXPECT_EQ(news.exchanges.front().target, "/nowhere/1");
  EXPECT_TRUE(server.exchangesSince(news.change).exchanges.empty());
}

TEST_F(PageTest, ManyAskWhileOthersLookOn) {
  std::vector<std::thread> asking;
  for (int i = 0; i < 4; ++i) {
    asking.emplace_back([&] {
      TestClient own(server);
      for (int asked = 0; asked < 50; ++asked) own.get("/nowhere");
    });
  }
  EventConnection events(server);
  std::uint64_t change = 0;
  std::size_t ended = 0;
  EXPECT_TRUE(waitUntil([&] {
    const sandbox::ExchangeNews news = server.exchangesSince(change);
    change = news.change;
    for (const sandbox::ExchangeRecord& exchange : news.exchanges) ended += exchange.ended ? 1 : 0;
    return ended == 200;
  }));
  for (std::thread& thread : asking) thread.join();

  EXPECT_TRUE(events.hears(R"("ended":true)"));
}

TEST_F(PageTest, EventsEndWithTheServers) {
  EventConnection events(server);
  EXPECT_TRUE(events.hears(": nothing new"));

  server.setListening(false);

  EXPECT_FALSE(events.hears("this never comes"));
  server.setListening(true);
  EventConnection later(server);
  EXPECT_TRUE(later.hears("text/event-stream"));
  server.stop();
  EXPECT_FALSE(later.hears("this never comes"));
}

}  // namespace
