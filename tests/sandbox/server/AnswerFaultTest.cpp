#include "sandbox/RawConnection.h"
#include "sandbox/UploadSteps.h"
#include "sandbox/server/FaultFixture.h"

#include <gmock/gmock.h>

#include <algorithm>

namespace {

using sandbox::Fault;
using sandbox::FaultId;
using sandbox::Route;
using std::chrono::milliseconds;

constexpr std::size_t unit = std::size_t{256} * 1024;

using AnswerFaults = FaultFixture;

TEST_F(AnswerFaults, TrickleSendsTheBodyInPieces) {
  const std::string whole = ask().body;
  const FaultId id = order(Fault::trickle(50, milliseconds(5)));

  EXPECT_EQ(ask().body, whole);
  EXPECT_EQ(server.faultsDelivered(id), 1U);
}

TEST_F(AnswerFaults, StatusBringsBodyTypeAndHeaders) {
  const FaultId id = order(Fault::status(429, "later", "text/plain").withHeader("Retry-After", "3"));

  const Answer answer = ask();

  EXPECT_EQ(answer.status, 429);
  EXPECT_EQ(answer.body, "later");
  EXPECT_EQ(answer.header("Content-Type"), "text/plain");
  EXPECT_EQ(answer.header("Retry-After"), "3");
  EXPECT_EQ(server.faultsDelivered(id), 1U);
}

TEST_F(AnswerFaults, StatusKeepsTheServiceOut) {
  const std::string file = someFile(unit);
  const std::string chunkTarget = openUpload(client, token, file.size());
  server.orderFault(Route::youtubeUploadChunk, Fault::status(500));

  EXPECT_EQ(putChunk(client, chunkTarget, token, file, 0, unit).status, 500);

  EXPECT_EQ(server.uploads()[0].receivedSize, 0U);
  EXPECT_EQ(putChunk(client, chunkTarget, token, file, 0, unit).status, 200);
}

TEST_F(AnswerFaults, BodyIsAnyTextWithStatus200) {
  order(Fault::body("<html>"));

  EXPECT_EQ(ask().body, "<html>");
}

TEST_F(AnswerFaults, BrokenJsonIsTheAnswerCutInTheMiddle) {
  const std::string whole = ask().body;
  const FaultId id = order(Fault::brokenJson());

  const Answer answer = ask();

  EXPECT_EQ(answer.status, 200);
  EXPECT_EQ(answer.body, whole.substr(0, answer.body.size()));
  EXPECT_LT(answer.body.size(), whole.size());
  EXPECT_TRUE(answer.json().isNull());
  EXPECT_EQ(server.faultsDelivered(id), 1U);
}

TEST_F(AnswerFaults, ReplacedMemberHoldsTheGivenText) {
  const FaultId id = order(Fault::replaceMember("id", "[7]"));

  const Json::Value answer = ask().json();

  EXPECT_EQ(answer["id"][0], 7);
  EXPECT_EQ(answer["email"], server.users()[0].email);
  EXPECT_EQ(server.faultsDelivered(id), 1U);
}

TEST_F(AnswerFaults, ReplacedMemberMayLieDeepAndMayBeNoJsonAtAll) {
  const Fields headers{bearer(token)};
  const std::string categories = "/youtube/v3/videoCategories?part=snippet&regionCode=us&alt=json";
  server.orderFault(Route::youtubeCategories, Fault::replaceMember("items.1.snippet.title", "null"));
  EXPECT_TRUE(client.get(categories, headers).json()["items"][1]["snippet"]["title"].isNull());

  order(Fault::replaceMember("id", "1e999999"));
  EXPECT_THAT(ask().body, testing::HasSubstr("\"id\":1e999999"));

  order(Fault::replaceMember("new.place", "true"));
  EXPECT_EQ(ask().json()["new"]["place"], true);
}

TEST_F(AnswerFaults, ReplacedMemberBehindATextIsNotDelivered) {
  const FaultId id = order(Fault::replaceMember("id.deeper", "1"));

  EXPECT_EQ(ask().json()["id"], server.users()[0].openId);
  EXPECT_EQ(server.faultsDelivered(id), 0U);
}

TEST_F(AnswerFaults, RemovedMemberIsGone) {
  const FaultId id = order(Fault::removeMember("given_name"));
  const FaultId none = order(Fault::removeMember("no_such_member"), 2);

  EXPECT_FALSE(ask().json().isMember("given_name"));
  EXPECT_TRUE(ask().json().isMember("given_name"));
  EXPECT_EQ(server.faultsDelivered(id), 1U);
  EXPECT_EQ(server.faultsDelivered(none), 0U);
}

TEST_F(AnswerFaults, TruncatedBodyPromisesMoreThanItSends) {
  const std::string whole = ask().body;
  const FaultId id = order(Fault::truncatedBody(10));
  RawConnection connection(server.port());
  connection.send(rawRequest());

  const std::string answer = connection.readAll();

  EXPECT_EQ(connection.end(), RawConnection::End::closed);
  EXPECT_THAT(answer, testing::HasSubstr("Content-Length: " + std::to_string(whole.size())));
  EXPECT_EQ(answer.substr(answer.find("\r\n\r\n") + 4), whole.substr(0, 10));
  EXPECT_EQ(server.faultsDelivered(id), 1U);
  order(Fault::truncatedBody(1'000'000));
  EXPECT_FALSE(ask().arrived);
}

TEST_F(AnswerFaults, GzipCompressesUnasked) {
  const std::string whole = ask().body;
  const FaultId id = order(Fault::gzip());

  // The test's client undoes what the header announces.
  const Answer answer = ask();

  EXPECT_EQ(answer.header("Content-Encoding"), "gzip");
  EXPECT_EQ(answer.body, whole);
  EXPECT_EQ(server.faultsDelivered(id), 1U);
}

TEST_F(AnswerFaults, GzipBombInflatesToJsonOfItsSize) {
  constexpr std::size_t inflated = std::size_t{8} * 1024 * 1024;
  const FaultId id = order(Fault::gzipBomb(inflated));
  RawConnection connection(server.port());
  connection.send("GET " + target + " HTTP/1.1\r\nHost: x\r\nConnection: close\r\n\r\n");
  EXPECT_LT(connection.readAll().size(), inflated / 100);
  EXPECT_EQ(server.faultsDelivered(id), 1U);

  order(Fault::gzipBomb(inflated));
  const Answer answer = ask();
  EXPECT_EQ(answer.body.size(), inflated);
  EXPECT_EQ(answer.json()["code"], 0);
}

TEST_F(AnswerFaults, HugeBodyIsJsonOfItsSize) {
  constexpr std::size_t bodySize = 3 * 1024 * 1024 + 1;
  const FaultId id = order(Fault::hugeBody(bodySize));

  const Answer answer = ask();

  EXPECT_EQ(answer.body.size(), bodySize);
  EXPECT_EQ(answer.json()["code"], 0);
  EXPECT_EQ(server.faultsDelivered(id), 1U);
}

TEST_F(AnswerFaults, HugeBodyEndsWhenTheClientGoes) {
  const FaultId id = order(Fault::hugeBody(std::uint64_t{1} << 40));
  {
    RawConnection connection(server.port());
    connection.send(rawRequest());
    EXPECT_EQ(connection.read(1000).size(), 1000U);
  }

  EXPECT_EQ(server.faultsDelivered(id), 1U);
  EXPECT_EQ(ask().status, 200);
}

TEST_F(AnswerFaults, DeepNestingIsWellFormed) {
  const FaultId id = order(Fault::deepNesting(2000));

  const std::string body = ask().body;

  EXPECT_EQ(std::count(body.begin(), body.end(), '['), 2000);
  EXPECT_EQ(std::count(body.begin(), body.end(), ']'), 2000);
  EXPECT_EQ(server.faultsDelivered(id), 1U);
}

}  // namespace
