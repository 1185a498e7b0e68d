// Bodies that the client reads while it sends them.
#include "foundation/BsNet/client/NetClientFixture.h"
#include "support/RecordingLogger.h"
#include "support/ScriptedNetwork.h"
#include <BsNet/IBodySource.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

namespace {

/// Gives bytes that tell their place, up to where it fails.
class Source final : public KBL::IBodySource {
 public:
  explicit Source(std::size_t size) : bytes(patterned(size)) {}

  bool readBody(unsigned long long offset, char* buffer, unsigned long long count) override {
    ++calls;
    if (throws) throw std::runtime_error("host");
    if (offset + count > failsAt) return false;
    bytes.copy(buffer, count, offset);
    return true;
  }

  std::string bytes;
  int calls = 0;
  bool throws = false;
  unsigned long long failsAt = ~0ULL;
};

void giveSource(KBL::INetworkClient& client, Source& source) {
  auto* const side = KBL::bodySourceClient(&client);
  ASSERT_NE(side, nullptr);
  side->setBodySource(&source, source.bytes.size());
}

class BodySource : public testing::TestWithParam<int> {};

TEST_P(BodySource, ArrivesWholeWhateverItsSize) {
  const KeepingServer server;
  const auto client = newClient();
  for (const std::size_t size : {0U, 1U, 65536U, 262144U, 262145U, 3U << 20}) {
    Source source(size);
    giveSource(*client, source);
    ASSERT_EQ(perform(*client, server.url(), GetParam()).httpCode, 200) << size;
    EXPECT_TRUE(server.requests().back().body == source.bytes) << size;
    EXPECT_EQ(server.requests().back().headers.at("content-length"), std::to_string(size));
  }
}

TEST_P(BodySource, IsSentAgainByTheNextExchange) {
  const KeepingServer server;
  const auto client = newClient();
  Source source(300000);
  giveSource(*client, source);

  ASSERT_EQ(perform(*client, server.url(), GetParam()).httpCode, 200);
  ASSERT_EQ(perform(*client, server.url(), GetParam()).httpCode, 200);

  EXPECT_TRUE(server.requests().at(1).body == source.bytes);
}

TEST_P(BodySource, ThatFailsEndsTheExchangeAndTheClientWorksOn) {
  const KeepingServer server;
  const auto client = newClient();
  Source source(1 << 20);
  source.failsAt = 300000;
  giveSource(*client, source);

  const auto reply = perform(*client, server.url(), GetParam());

  EXPECT_EQ(reply.resultCode, 26);
  EXPECT_EQ(reply.httpCode, -1);
  EXPECT_EQ(reply.errorMessage, "the body cannot be read");
  client->setBody("in memory");
  ASSERT_EQ(perform(*client, server.url(), GetParam()).httpCode, 200);
  EXPECT_EQ(server.requests().back().body, "in memory");
}

TEST_P(BodySource, ThatThrowsHasFailed) {
  const KeepingServer server;
  const ScopedRecordingLogger log;
  const auto client = newClient();
  Source source(10);
  source.throws = true;
  giveSource(*client, source);

  EXPECT_EQ(perform(*client, server.url(), GetParam()).resultCode, 26);

  ASSERT_EQ(log->linesWith("threw").size(), 1U);
  EXPECT_EQ(log->linesWith("threw")[0].text, "the source of a body threw");
}

TEST_P(BodySource, IsReadAgainAfterAResetOnAReusedConnection) {
  for (const std::size_t bytesBeforeReset : {0U, 65536U, 300000U, 2U << 20}) {
    const ResettingServer server(bytesBeforeReset);
    const auto client = newClient();
    client->setTotalTimeout(20000);
    ASSERT_EQ(perform(*client, server.url(), GetParam()).httpCode, 200);
    Source source(4 << 20);
    giveSource(*client, source);

    const auto reply = perform(*client, server.url(), GetParam());

    EXPECT_NE(reply.resultCode, 28);
    if (reply.resultCode != 0) continue;
    EXPECT_TRUE(server.repeated() == source.bytes) << bytesBeforeReset;
  }
}

INSTANTIATE_TEST_SUITE_P(Client, BodySource, testing::Values(int{KBL::httpPost}, int{KBL::httpPut}));

TEST(ClientBody, SourceIsReadForNoGet) {
  const KeepingServer server("body");
  const auto client = newClient();
  Source source(10);
  giveSource(*client, source);

  EXPECT_EQ(perform(*client, server.url(), KBL::httpGet).content, "body");

  EXPECT_EQ(source.calls, 0);
}

TEST(ClientBody, NoSourceIsAnEmptyBody) {
  const KeepingServer server;
  const auto client = newClient();
  client->setBody("before");
  KBL::bodySourceClient(client.get())->setBodySource(nullptr, 10);

  ASSERT_EQ(perform(*client, server.url(), KBL::httpPut).httpCode, 200);

  EXPECT_EQ(server.requests().back().body, "");
}

TEST(ClientBody, ClientOfAHostHasNoSources) {
  const ScriptedNetwork network;
  const auto host = newClient();
  EXPECT_EQ(KBL::bodySourceClient(host.get()), nullptr);
  EXPECT_EQ(KBL::bodySourceClient(nullptr), nullptr);
}

}  // namespace
