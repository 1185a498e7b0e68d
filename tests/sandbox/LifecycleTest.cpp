#include "sandbox/RawConnection.h"
#include "sandbox/Sandbox.h"
#include "sandbox/TestClient.h"
#include "sandbox/UploadSteps.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <memory>
#include <stdexcept>
#include <thread>
#include <vector>

namespace {

using sandbox::Fault;
using sandbox::FaultId;
using sandbox::Route;
using sandbox::Sandbox;
using sandbox::SandboxOptions;

constexpr std::chrono::seconds limit{30};

TEST(Lifecycle, CloudConfigurationNamesEveryKey) {
  const Sandbox server;
  const auto urls = server.cloudConfig();

  for (const char* key :
       {"urlLFServerUserSupportSession", "urlLFServerUserSupportCode", "urlLFServerUserSupportToken",
        "urlLFServerClientCredentials", "urlCloudDiskAuthGoogleDiskUserInfo", "urlYoutubeVideoCategories",
        "urlExternlMediaAuthYoutubeUpload", "urlMediaAuthTiktokUserInfo", "urlExternlMediaAuthTiktokUpload",
        "urlMediaAuthDouyinUserInfo", "urlExternlMediaAuthDouyinUpload",
        "urlExternlMediaAuthDouyinVideoPartInit", "urlExternlMediaAuthDouyinVideoPartUpload",
        "urlExternlMediaAuthDouyinVideoPartComplete", "urlUserSupportQueryConsume"}) {
    ASSERT_TRUE(urls.contains(key)) << key;
    EXPECT_EQ(urls.at(key).rfind(server.baseUrl() + "/", 0), 0U) << key;
  }
  EXPECT_NE(server.cloudConfigJson().find("\"urlLFServerUserSupportCode\" : \"" + server.baseUrl()),
            std::string::npos);
}

TEST(Lifecycle, EachSandboxHasAPortOfItsOwn) {
  const Sandbox first;
  const Sandbox second;

  EXPECT_NE(first.port(), second.port());
  EXPECT_EQ(TestClient(first).get("/nowhere").status, 404);
  EXPECT_EQ(TestClient(second).get("/nowhere").status, 404);
}

TEST(Lifecycle, TakenPortIsAnError) {
  const Sandbox first;
  SandboxOptions options;
  options.port = first.port();

  EXPECT_THROW(const Sandbox second(options), std::runtime_error);
}

TEST(Lifecycle, PortIsFreeAgainAfterTheEnd) {
  SandboxOptions options;
  {
    const Sandbox first;
    options.port = first.port();
    TestClient(first).get("/nowhere");
  }
  const Sandbox second(options);

  EXPECT_EQ(TestClient(second).get("/nowhere").status, 404);
}

TEST(Lifecycle, ClosedPortRefusesAndOpensAgainWithItsState) {
  Sandbox server;
  const std::string token = server.issueTokens(sandbox::Platform::youtube).accessToken;
  RawConnection open(server.port());
  ASSERT_TRUE(open.connected());

  server.setListening(false);

  EXPECT_EQ(open.readAll(), "");
  EXPECT_TRUE(RawConnection(server.port()).refused());
  server.setListening(true);
  server.setListening(true);
  EXPECT_EQ(TestClient(server).get("/google/oauth2/v2/userinfo?alt=json&access_token=" + token).status, 200);
}

TEST(Lifecycle, StopEndsStalledAndIdleConnectionsWithinASecond) {
  Sandbox server;
  const FaultId id = server.orderFault(Route::avatar, Fault::stall(), 1, 0);
  std::vector<std::unique_ptr<RawConnection>> connections;
  for (int number = 0; number < 8; ++number) {
    connections.push_back(std::make_unique<RawConnection>(server.port()));
    if (number % 2 == 0) connections.back()->send("GET /avatar/x HTTP/1.1\r\nHost: x\r\n\r\n");
  }
  ASSERT_TRUE(server.waitForFaults(id, 4, limit));
  const auto start = std::chrono::steady_clock::now();

  server.stop();

  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
  EXPECT_EQ(server.openConnections(), 0U);
  for (const auto& connection : connections) EXPECT_EQ(connection->readAll(), "");
}

TEST(Lifecycle, StopEndsSlowAndHugeAnswers) {
  Sandbox server;
  server.orderFault(Route::avatar, Fault::slowAnswer(std::chrono::hours(1)));
  const FaultId huge = server.orderFault(Route::avatar, Fault::hugeBody(std::uint64_t{1} << 40), 2);
  const RawConnection slow(server.port());
  slow.send("GET /avatar/x HTTP/1.1\r\nHost: x\r\n\r\n");
  ASSERT_TRUE(server.waitForRequests(Route::avatar, 1, limit));
  const RawConnection big(server.port());
  big.send("GET /avatar/x HTTP/1.1\r\nHost: x\r\n\r\n");
  ASSERT_TRUE(server.waitForFaults(huge, 1, limit));
  const auto start = std::chrono::steady_clock::now();

  server.stop();

  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
}

TEST(Lifecycle, StopTwiceAndQuestionsAfterwardsAreFine) {
  Sandbox server;
  server.stop();
  server.stop();

  EXPECT_TRUE(server.requests().empty());
  EXPECT_EQ(server.waitForPendingLogin(limit), std::nullopt);
  EXPECT_FALSE(server.waitForUploads(1, limit));
  EXPECT_FALSE(server.waitForFaults(1, 1, limit));
}

TEST(Lifecycle, EverythingMayBeAskedWhileRequestsRun) {
  Sandbox server;
  std::atomic<bool> done{false};
  std::thread asker([&] {
    while (!done) {
      (void)server.requests();
      (void)server.uploads();
      (void)server.loginSessions();
      (void)server.users();
      (void)server.openConnections();
      (void)server.faultsOutstanding();
      server.chooseUser(server.users()[1].openId);
    }
  });
  std::vector<std::thread> clients;
  for (int number = 0; number < 4; ++number) {
    clients.emplace_back([&] {
      TestClient client(server);
      for (int time = 0; time < 20; ++time) {
        const std::string token = server.issueTokens(sandbox::Platform::youtube).accessToken;
        const std::string file = someFile(1000);
        EXPECT_EQ(
            putChunk(client, openUpload(client, token, file.size()), token, file, 0, file.size()).status,
            200);
      }
    });
  }
  for (std::thread& thread : clients) thread.join();
  done = true;
  asker.join();

  EXPECT_EQ(server.uploads().size(), 80U);
}

}  // namespace
