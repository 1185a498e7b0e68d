// The sandbox as hosts see it: by its one installed header.
#include "sandbox/TestClient.h"
#include "sandbox/UploadSteps.h"

#include <MediaTransferSandbox/Sandbox.h>
#include <gmock/gmock.h>

#include <stdexcept>
#include <string>
#include <thread>

using namespace std::chrono_literals;
using mediatransfer::Consent;
using mediatransfer::Sandbox;
using mediatransfer::SandboxSettings;
using testing::AllOf;
using testing::Contains;
using testing::HasSubstr;
using testing::Key;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;

namespace {

constexpr auto limit = 30s;

class InstalledSandbox : public testing::Test {
 protected:
  std::string accountToken() {
    const Answer answer =
        client.post("/account/client_credentials",
                    R"({"app_secret":"sandbox-app-secret","grant_type":"client_credentials"})");
    return answer.json()["data"]["access_token"].asString();
  }
  /// Opens a login and gives its id.
  std::string openLogin() {
    return client
        .post("/account/session", R"({"platform":0,"use_client":1,"is_callback_token":1})", {bearer(account)})
        .json()["data"]["session_id"]
        .asString();
  }
  Json::Value answerOf(const std::string& login) {
    return client.get("/account/code/" + login, {bearer(account)}).json()["data"];
  }
  std::string signIn() { return answerOf(openLogin())["access_token"].asString(); }
  int profileStatus(const std::string& token) {
    return client.get("/google/oauth2/v2/userinfo?alt=json&access_token=" + token).status;
  }

  Sandbox servers;
  TestClient client{servers.address(), {}};
  std::string account = accountToken();
};

TEST_F(InstalledSandbox, ListensAtAFreePortAndTellsItsAddresses) {
  EXPECT_EQ(servers.address(), "http://127.0.0.1:" + std::to_string(servers.port()));
  EXPECT_THAT(servers.cloudConfig(), Contains(Key("urlLFServerClientCredentials")));
  EXPECT_THAT(servers.cloudConfig().begin()->second, StartsWith(servers.address()));
  EXPECT_THAT(servers.cloudConfigText(),
              AllOf(StartsWith("{"), HasSubstr(servers.cloudConfig().begin()->second)));
  EXPECT_THAT(servers.scriptServicesText(), HasSubstr(servers.address()));
  EXPECT_NE(Sandbox().port(), servers.port());
}

TEST_F(InstalledSandbox, SignsTheChosenUserIn) {
  ASSERT_THAT(servers.users(), SizeIs(3));
  const std::string second = servers.users()[1].id;
  EXPECT_TRUE(servers.chooseUser(second));
  EXPECT_FALSE(servers.chooseUser("nobody"));
  EXPECT_EQ(answerOf(openLogin())["open_id"], second);
}

TEST_F(InstalledSandbox, LetsLoginsBeAnswered) {
  servers.setConsent(Consent::ask);
  EXPECT_FALSE(servers.waitForPendingLogin(0s));
  const std::string first = openLogin();
  const std::string second = openLogin();
  EXPECT_EQ(servers.waitForPendingLogin(limit), first);
  EXPECT_TRUE(servers.allow(first, servers.users()[2].id));
  EXPECT_FALSE(servers.deny(first)) << "it is answered";
  EXPECT_TRUE(servers.deny(second));
  EXPECT_EQ(answerOf(first)["open_id"], servers.users()[2].id);
  EXPECT_EQ(answerOf(second)["status"], 2);
  servers.setConsent(Consent::deny);
  EXPECT_EQ(answerOf(openLogin())["status"], 2);
  servers.setConsent(Consent::never);
  EXPECT_EQ(answerOf(openLogin())["status"], 0);
}

TEST_F(InstalledSandbox, EndsTokens) {
  const std::string token = signIn();
  EXPECT_EQ(profileStatus(token), 200);
  servers.expireAccessTokens(servers.users()[1].id);
  EXPECT_EQ(profileStatus(token), 200) << "another user's";
  servers.expireAccessTokens();
  EXPECT_EQ(profileStatus(token), 401);
  const std::string later = signIn();
  servers.revokeTokens(servers.users()[0].id);
  EXPECT_EQ(profileStatus(later), 401);
}

TEST_F(InstalledSandbox, ShowsWhatArrived) {
  const std::string token = signIn();
  const std::string file = someFile(5000);
  const std::string target = openUpload(client, token, file.size());
  ASSERT_THAT(servers.uploads(), SizeIs(1));
  EXPECT_FALSE(servers.uploads().front().isComplete);
  EXPECT_FALSE(servers.waitForUploads(1, 0s));

  putChunk(client, target, token, file, 0, file.size());

  ASSERT_TRUE(servers.waitForUploads(1, limit));
  const mediatransfer::SandboxUpload upload = servers.uploads().front();
  EXPECT_TRUE(upload.isComplete);
  EXPECT_EQ(upload.service, "youtube");
  EXPECT_EQ(upload.user, servers.users().front().id);
  EXPECT_EQ(upload.announcedSize, file.size());
  EXPECT_EQ(upload.size, file.size());
  EXPECT_EQ(upload.sha256, sha256Of(file));
  EXPECT_THAT(upload.metadata, HasSubstr("\"title\""));
  EXPECT_NE(upload.mediaId, "");
  ASSERT_TRUE(servers.waitForRequests("youtubeUploadChunk", 1, limit));
  ASSERT_THAT(servers.requests("youtubeUploadChunk"), SizeIs(1));
  const mediatransfer::SandboxRequest chunk = servers.requests("youtubeUploadChunk").front();
  EXPECT_EQ(chunk.method, "PUT");
  EXPECT_EQ(chunk.target, target);
  EXPECT_EQ(chunk.body, file);
  EXPECT_EQ(chunk.bodySize, file.size());
  EXPECT_THAT(chunk.headers, Contains(bearer(token)));
  EXPECT_GT(servers.requests().size(), 2U);
}

TEST_F(InstalledSandbox, OrdersFaultsByName) {
  mediatransfer::SandboxFault fault{"googleUserInfo", "status", 2};
  fault.code = 503;
  fault.text = "{\"late\":true}";
  fault.headers["Retry-After"] = "7";
  const auto order = servers.orderFault(fault);
  const std::string token = signIn();

  EXPECT_EQ(profileStatus(token), 200);
  EXPECT_EQ(servers.faultsDelivered(order), 0U);
  const Answer disturbed = client.get("/google/oauth2/v2/userinfo?alt=json&access_token=" + token);
  EXPECT_EQ(disturbed.status, 503);
  EXPECT_EQ(disturbed.body, fault.text);
  EXPECT_EQ(disturbed.header("Retry-After"), "7");
  EXPECT_TRUE(servers.waitForFaults(order, 1, limit));
  EXPECT_EQ(profileStatus(token), 200);
  EXPECT_EQ(servers.faultsDelivered(order), 1U);
}

TEST_F(InstalledSandbox, TakesEveryNameThatItLists) {
  for (const std::string& route : Sandbox::faultRoutes()) {
    for (const std::string& kind : Sandbox::faultKinds()) {
      mediatransfer::SandboxFault fault{route, kind};
      fault.path = "data.0.id";
      fault.text = "1";
      if (kind == "acceptLess" && route != "youtubeUploadChunk") {
        EXPECT_THROW(servers.orderFault(fault), std::invalid_argument) << route;
      } else {
        EXPECT_NE(servers.orderFault(fault), 0U);
      }
    }
  }
  EXPECT_THAT(Sandbox::faultRoutes(), AllOf(SizeIs(testing::Gt(60U)), Contains("consume")));
  EXPECT_THAT(Sandbox::faultKinds(), AllOf(SizeIs(21), Contains("gzipBomb")));
  EXPECT_THAT(Sandbox::faultRoutes(), Not(Contains("inspection"))) << "it is never disturbed";
  servers.clearFaults();
  EXPECT_EQ(client.get("/account/callback").status, 200);
}

TEST_F(InstalledSandbox, NamesWhatThereIsWhereANameIsUnknown) {
  const auto textOf = [](const auto& call) -> std::string {
    try {
      call();
    } catch (const std::invalid_argument& unknown) {
      return unknown.what();
    }
    return {};
  };
  EXPECT_THAT(textOf([&] {
                servers.orderFault({"consumed", "stall"});
              }),
              AllOf(HasSubstr("no route is called \"consumed\""), HasSubstr(" consume ")));
  EXPECT_THAT(textOf([&] { servers.orderFault({"inspection", "stall"}); }), HasSubstr("no route"));
  EXPECT_THAT(textOf([&] {
                servers.orderFault({"consume", "stalled"});
              }),
              AllOf(HasSubstr("no fault is called \"stalled\""), HasSubstr(" stall ")));
  EXPECT_THAT(textOf([&] { (void)servers.requests("consumed"); }), HasSubstr("no route"));
  EXPECT_THAT(textOf([&] { servers.waitForRequests("consumed", 1, 0s); }), HasSubstr("no route"));
}

TEST_F(InstalledSandbox, LetsStallsGoAndClosesItsPort) {
  const auto order = servers.orderFault({"googleUserInfo", "stall"});
  std::thread releaser([&] {
    servers.waitForFaults(order, 1, limit);
    servers.releaseStalls();
  });
  EXPECT_EQ(profileStatus(signIn()), 200);
  releaser.join();
  EXPECT_EQ(servers.faultsDelivered(order), 1U);
  servers.setListening(false);
  EXPECT_FALSE(client.get("/sandbox/users").arrived);
  servers.setListening(true);
  EXPECT_EQ(client.get("/sandbox/users").status, 200);
  servers.stop();
  EXPECT_FALSE(client.get("/sandbox/users").arrived);
}

TEST(InstalledSandboxSettings, AreTheSandboxs) {
  SandboxSettings settings;
  settings.consent = Consent::deny;
  settings.appSecret = "another secret";
  settings.page = true;
  Sandbox servers(settings);
  settings.port = servers.port();
  EXPECT_THROW(Sandbox{settings}, std::runtime_error);
  TestClient client(servers.address(), {});
  const auto statusWith = [&](const std::string& secret) {
    return client
        .post("/account/client_credentials",
              R"({"grant_type":"client_credentials","app_secret":")" + secret + "\"}")
        .json()["code"]
        .asInt();
  };
  EXPECT_EQ(statusWith("another secret"), 0);
  EXPECT_NE(statusWith("sandbox-app-secret"), 0);
  EXPECT_THAT(client.get("/sandbox/").body, HasSubstr("<html"));
}

}  // namespace
