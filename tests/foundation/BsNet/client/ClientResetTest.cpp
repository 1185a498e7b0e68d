// How the network client bears connections that are reset under it.
#include "foundation/BsNet/client/NetClientFixture.h"
#include "support/Seed.h"
#include "support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <mutex>
#include <thread>
#include <tuple>

namespace {

class ResetInBody : public testing::TestWithParam<std::tuple<int, std::size_t>> {};

TEST_P(ResetInBody, OnAReusedConnectionSendsTheWholeBodyAgainOrFails) {
  const auto [method, bytesBeforeReset] = GetParam();
  const ResettingServer server(bytesBeforeReset);
  const auto client = newClient();
  client->setTotalTimeout(20000);
  client->setBody("small");
  ASSERT_EQ(perform(*client, server.url(), method).httpCode, 200);
  const std::string body = patterned(4 << 20);
  client->setBody(body);
  const auto start = Clock::now();

  const auto reply = perform(*client, server.url(), method);

  EXPECT_LT(millisecondsSince(start), 15000);
  if (reply.resultCode == 0) {
    EXPECT_EQ(reply.content, "repeated");
    EXPECT_TRUE(server.repeated() == body);
  } else {
    EXPECT_NE(reply.errorMessage, "");
  }
  EXPECT_EQ(perform(*client, server.url(), method).content, "repeated");
  EXPECT_TRUE(server.repeated() == body);
}

INSTANTIATE_TEST_SUITE_P(Client, ResetInBody,
                         testing::Combine(testing::Values(int{KBL::httpPost}, int{KBL::httpPut}),
                                          testing::Values(0, 1, 65536, 300000, 1 << 20, 3 << 20)));

TEST(ClientConnection, ResetWithinAFormOnAReusedConnectionSendsTheWholeFileAgainOrFails) {
  const TemporaryDirectory place;
  const std::string contents = patterned(4 << 20);
  const std::string path = place.write("video", contents);
  for (const std::size_t bytes : {0U, 65536U, 2U << 20}) {
    const ResettingServer server(bytes);
    const auto client = newClient();
    client->setTotalTimeout(20000);
    ASSERT_EQ(perform(*client, server.url(), KBL::httpPost).httpCode, 200);
    client->setUploadSource({{"video", path}});

    const auto reply = perform(*client, server.url(), KBL::httpPost);

    const bool isWhole = server.repeated().find(contents) != std::string::npos;
    EXPECT_TRUE(isWhole || reply.resultCode != 0) << bytes;
    EXPECT_EQ(perform(*client, server.url(), KBL::httpPost).content, "repeated");
    EXPECT_NE(server.repeated().find(contents), std::string::npos);
  }
}

TEST(ClientConnection, ResetsAtAnyInstantLeaveNoHalfBodyAndNoHang) {
  auto random = seededGenerator();
  std::mutex mutex;
  std::string last;
  const RawServer server([&](RawConnection& connection) {
    RawConnection::Request request;
    unsigned pause = 0;
    if (!connection.readRequest(request)) return;
    {
      const std::lock_guard lock(mutex);
      last = request.body;
      pause = static_cast<unsigned>(random() % 400);
    }
    connection.reply(200);
    std::this_thread::sleep_for(std::chrono::microseconds(pause));
    connection.reset();
  });
  const auto client = newClient();
  client->setTotalTimeout(5000);
  int repeated = 0;
  for (int round = 0; round < 400; ++round) {
    const std::string body = patterned(300000 + static_cast<std::size_t>(round) * 1000);
    client->setBody(body);
    const auto start = Clock::now();
    const auto reply = perform(*client, server.url(), round % 2 == 0 ? KBL::httpPut : KBL::httpPost);
    ASSERT_LT(millisecondsSince(start), 4000) << round;
    if (reply.resultCode != 0) continue;
    ++repeated;
    const std::lock_guard lock(mutex);
    ASSERT_TRUE(last == body) << round;
  }

  EXPECT_GT(repeated, 0);
}

}  // namespace
