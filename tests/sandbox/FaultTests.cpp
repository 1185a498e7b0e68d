#include "sandbox/RawConnection.h"
#include "sandbox/Sandbox.h"
#include "sandbox/TestClient.h"
#include "sandbox/UploadSteps.h"

#include <gmock/gmock.h>

#include <future>
#include <thread>

namespace {

using sandbox::Fault;
using sandbox::FaultId;
using sandbox::Platform;
using sandbox::Route;
using std::chrono::milliseconds;

constexpr std::chrono::seconds kLimit{30};
constexpr std::size_t kUnit = 256 * 1024;

class Faults : public testing::Test {
 protected:
  // A small exchange that succeeds when nothing is wrong with it.
  Answer ask() { return client.get(target); }
  std::string rawRequest() { return "GET " + target + " HTTP/1.1\r\nHost: x\r\n\r\n"; }
  FaultId order(const Fault& fault, unsigned nth = 1, unsigned times = 1) {
    return server.orderFault(Route::googleUserInfo, fault, nth, times);
  }
  // A chunk as bytes on the wire.
  std::string rawChunk(const std::string& chunkTarget, const std::string& file) {
    return "PUT " + chunkTarget + " HTTP/1.1\r\nHost: x\r\nAuthorization: Bearer " + token +
           "\r\nContent-Range: bytes 0-" + std::to_string(file.size() - 1) + "/" +
           std::to_string(file.size()) + "\r\nContent-Length: " + std::to_string(file.size()) + "\r\n\r\n" +
           file;
  }

  sandbox::Sandbox server;
  TestClient client{server};
  std::string token = server.issueTokens(Platform::youtube).accessToken;
  std::string target = "/google/oauth2/v2/userinfo?alt=json&access_token=" + token;
};

TEST_F(Faults, StrikeTheNthRequestAndNoOther) {
  const FaultId id = order(Fault::status(503), 2);

  EXPECT_EQ(ask().status, 200);
  EXPECT_EQ(server.faultsDelivered(id), 0U);
  EXPECT_EQ(server.faultsOutstanding(), 1U);
  EXPECT_EQ(ask().status, 503);
  EXPECT_EQ(ask().status, 200);
  EXPECT_EQ(server.faultsDelivered(id), 1U);
  EXPECT_EQ(server.faultsDelivered(), 1U);
  EXPECT_EQ(server.faultsOutstanding(), 0U);
}

TEST_F(Faults, StrikeSeveralTimesOrAlways) {
  order(Fault::status(500), 1, 2);
  EXPECT_EQ(ask().status, 500);
  EXPECT_EQ(ask().status, 500);
  EXPECT_EQ(ask().status, 200);

  const FaultId always = order(Fault::status(501), 1, 0);
  EXPECT_EQ(server.faultsOutstanding(), 1U);
  for (int time = 0; time < 5; ++time) EXPECT_EQ(ask().status, 501);
  EXPECT_EQ(server.faultsDelivered(always), 5U);
  EXPECT_EQ(server.faultsOutstanding(), 0U);
  server.clearFaults();
  EXPECT_EQ(ask().status, 200);
}

TEST_F(Faults, MeetingOnOneRequestComeOneAfterTheOther) {
  order(Fault::status(500));
  order(Fault::status(501));

  EXPECT_EQ(ask().status, 500);
  EXPECT_EQ(ask().status, 501);
  EXPECT_EQ(ask().status, 200);
}

TEST_F(Faults, LeaveOtherRoutesAlone) {
  const FaultId id = server.orderFault(Route::youtubeCategories, Fault::status(500));

  EXPECT_EQ(ask().status, 200);
  EXPECT_EQ(server.faultsDelivered(id), 0U);
}

TEST_F(Faults, AreNotedAtTheRequestTheyStruck) {
  const FaultId id = order(Fault::status(418));

  ask();

  const auto requests = server.requests(Route::googleUserInfo);
  ASSERT_EQ(requests.size(), 1U);
  EXPECT_EQ(requests[0].fault, id);
  EXPECT_EQ(requests[0].status, 418);
}

TEST_F(Faults, CanBeWaitedFor) {
  const FaultId id = order(Fault::status(500));
  auto asked = std::async(std::launch::async, [&] { return TestClient(server).get(target); });

  EXPECT_TRUE(server.waitForFaults(id, 1, kLimit));
  EXPECT_FALSE(server.waitForFaults(id, 2, milliseconds(0)));
  EXPECT_EQ(asked.get().status, 500);
}

TEST_F(Faults, CloseAtOnceEndsInOrderWithoutAByte) {
  const FaultId id = order(Fault::closeAtOnce());
  RawConnection connection(server.port());
  connection.send(rawRequest());

  EXPECT_EQ(connection.readAll(), "");
  EXPECT_EQ(connection.end(), RawConnection::End::closed);
  EXPECT_EQ(server.faultsDelivered(id), 1U);
}

TEST_F(Faults, CloseAtOnceEndsInOrderWhileABodyIsComing) {
  const std::string file = someFile(8 * kUnit);
  const std::string chunkTarget = openUpload(client, token, file.size());
  const FaultId id = server.orderFault(Route::youtubeUploadChunk, Fault::closeAtOnce());
  RawConnection connection(server.port());
  connection.send(rawChunk(chunkTarget, file));

  EXPECT_EQ(connection.readAll(), "");
  EXPECT_EQ(connection.end(), RawConnection::End::closed);
  EXPECT_EQ(server.faultsDelivered(id), 1U);
}

TEST_F(Faults, ResetAtOnceResetsWithoutAByte) {
  const FaultId id = order(Fault::resetAtOnce());
  RawConnection connection(server.port());
  connection.send(rawRequest());

  EXPECT_EQ(connection.readAll(), "");
  EXPECT_EQ(connection.end(), RawConnection::End::reset);
  EXPECT_EQ(server.faultsDelivered(id), 1U);
}

TEST_F(Faults, ResetInTheMiddleOfARequestLosesTheChunk) {
  const std::string file = someFile(4 * kUnit);
  const std::string chunkTarget = openUpload(client, token, file.size());
  const FaultId id = server.orderFault(Route::youtubeUploadChunk, Fault::resetRequestAfter(kUnit));

  EXPECT_FALSE(putChunk(client, chunkTarget, token, file, 0, file.size()).arrived);

  EXPECT_EQ(server.faultsDelivered(id), 1U);
  const auto requests = server.requests(Route::youtubeUploadChunk);
  EXPECT_GE(requests[0].bodySize, kUnit);
  EXPECT_LT(requests[0].bodySize, file.size());
  EXPECT_EQ(requests[0].status, 0);
  EXPECT_EQ(putChunk(client, chunkTarget, token, file, 0, file.size()).status, 200);
  EXPECT_EQ(server.uploads()[0].sha256, sha256Of(file));
}

TEST_F(Faults, ResetAfterMoreThanTheBodyResetsAtItsEnd) {
  const FaultId id = order(Fault::resetRequestAfter(1000));
  RawConnection connection(server.port());
  connection.send(rawRequest());

  connection.readAll();

  EXPECT_EQ(connection.end(), RawConnection::End::reset);
  EXPECT_EQ(server.faultsDelivered(id), 1U);
}

TEST_F(Faults, ResetInTheMiddleOfAnAnswerSendsExactlySoMuch) {
  const FaultId id = order(Fault::resetAnswerAfter(20));
  RawConnection connection(server.port());
  connection.send(rawRequest());

  EXPECT_EQ(connection.readAll(), std::string("HTTP/1.1 200 OK\r\nContent").substr(0, 20));
  EXPECT_EQ(connection.end(), RawConnection::End::reset);
  EXPECT_EQ(server.faultsDelivered(id), 1U);
}

TEST_F(Faults, LostAnswerFindsTheChunkAccepted) {
  const std::string file = someFile(kUnit);
  const std::string chunkTarget = openUpload(client, token, file.size());
  server.orderFault(Route::youtubeUploadChunk, Fault::resetAnswerAfter(0));

  EXPECT_FALSE(putChunk(client, chunkTarget, token, file, 0, kUnit).arrived);

  EXPECT_TRUE(server.uploads()[0].complete);
  EXPECT_EQ(putChunk(client, chunkTarget, token, file, 0, kUnit).status, 200);
}

TEST_F(Faults, ResetBehindTheAnswersEndIsNotDelivered) {
  const FaultId id = order(Fault::resetAnswerAfter(100'000));

  EXPECT_EQ(ask().status, 200);
  EXPECT_EQ(ask().status, 200);
  EXPECT_EQ(server.faultsDelivered(id), 0U);
}

TEST_F(Faults, StallHoldsTheAnswerUntilItIsReleased) {
  const FaultId id = order(Fault::stall());
  auto asked = std::async(std::launch::async, [&] { return TestClient(server).get(target); });
  ASSERT_TRUE(server.waitForFaults(id, 1, kLimit));
  EXPECT_TRUE(server.waitForRequests(Route::googleUserInfo, 1, kLimit));
  EXPECT_EQ(asked.wait_for(milliseconds(20)), std::future_status::timeout);

  server.releaseStalls();

  EXPECT_EQ(asked.get().status, 200);
}

TEST_F(Faults, StallReadsTheWholeRequestAndTheServiceHasNotSeenIt) {
  const std::string file = someFile(4 * kUnit);
  const std::string chunkTarget = openUpload(client, token, file.size());
  const FaultId id = server.orderFault(Route::youtubeUploadChunk, Fault::stall());
  auto sent = std::async(std::launch::async, [&] {
    TestClient own(server);
    return putChunk(own, chunkTarget, token, file, 0, file.size());
  });
  ASSERT_TRUE(server.waitForFaults(id, 1, kLimit));

  EXPECT_EQ(server.requests(Route::youtubeUploadChunk)[0].bodySize, file.size());
  EXPECT_EQ(server.uploads()[0].receivedSize, 0U);
  server.releaseStalls();
  EXPECT_EQ(sent.get().status, 200);
  EXPECT_EQ(server.uploads()[0].sha256, sha256Of(file));
}

TEST_F(Faults, StallEndsWhenTheClientGoesAndTheChunkCanComeAgain) {
  const std::string file = someFile(4 * kUnit);
  const std::string chunkTarget = openUpload(client, token, file.size());
  const FaultId id = server.orderFault(Route::youtubeUploadChunk, Fault::stall());
  {
    RawConnection connection(server.port());
    connection.send(rawChunk(chunkTarget, file));
    ASSERT_TRUE(server.waitForFaults(id, 1, kLimit));
  }

  EXPECT_EQ(putChunk(client, chunkTarget, token, file, 0, file.size()).status, 200);
  EXPECT_EQ(server.uploads()[0].chunks.size(), 1U);
}

TEST_F(Faults, StallInTheMiddleOfARequestReadsNoFurther) {
  const std::string file = someFile(4 * kUnit);
  const std::string chunkTarget = openUpload(client, token, file.size());
  const FaultId id = server.orderFault(Route::youtubeUploadChunk, Fault::stallRequestAfter(kUnit));
  auto sent = std::async(std::launch::async, [&] {
    TestClient own(server);
    return putChunk(own, chunkTarget, token, file, 0, file.size());
  });
  ASSERT_TRUE(server.waitForFaults(id, 1, kLimit));
  EXPECT_TRUE(server.waitForRequests(Route::youtubeUploadChunk, 1, kLimit));
  EXPECT_LT(server.requests(Route::youtubeUploadChunk)[0].bodySize, file.size());

  server.releaseStalls();

  EXPECT_EQ(sent.get().status, 200);
  EXPECT_EQ(server.uploads()[0].sha256, sha256Of(file));
}

TEST_F(Faults, StallInTheMiddleOfAnAnswerSendsTheRestWhenReleased) {
  const FaultId id = order(Fault::stallAnswerAfter(17));
  RawConnection connection(server.port());
  connection.send("GET " + target + " HTTP/1.1\r\nHost: x\r\nConnection: close\r\n\r\n");
  EXPECT_EQ(connection.read(17), "HTTP/1.1 200 OK\r\n");
  ASSERT_TRUE(server.waitForFaults(id, 1, kLimit));

  server.releaseStalls();

  EXPECT_THAT(connection.readAll(), testing::HasSubstr(server.users()[0].email));
  EXPECT_EQ(connection.end(), RawConnection::End::closed);
}

TEST_F(Faults, SlowRequestIsReadInPieces) {
  const std::string file = someFile(4 * kUnit);
  const std::string chunkTarget = openUpload(client, token, file.size());
  const FaultId id =
      server.orderFault(Route::youtubeUploadChunk, Fault::slowRequest(kUnit, milliseconds(30)));
  const auto start = std::chrono::steady_clock::now();

  EXPECT_EQ(putChunk(client, chunkTarget, token, file, 0, file.size()).status, 200);

  EXPECT_GE(std::chrono::steady_clock::now() - start, milliseconds(120));
  EXPECT_EQ(server.faultsDelivered(id), 1U);
  EXPECT_EQ(server.uploads()[0].sha256, sha256Of(file));
}

TEST_F(Faults, SmallReceiveBufferHoldsTheClientBack) {
  sandbox::SandboxOptions options;
  options.receiveBuffer = 32 * 1024;
  sandbox::Sandbox narrow(options);
  TestClient own(narrow);
  const std::string ownToken = narrow.issueTokens(Platform::youtube).accessToken;
  const std::string file = someFile(64 * kUnit);
  const std::string chunkTarget = openUpload(own, ownToken, file.size());
  const FaultId id = narrow.orderFault(Route::youtubeUploadChunk, Fault::stallRequestAfter(kUnit));
  RawConnection connection(narrow.port());
  std::promise<void> handedOver;
  std::thread sender([&] {
    connection.send("PUT " + chunkTarget + " HTTP/1.1\r\nHost: x\r\nAuthorization: Bearer " + ownToken +
                    "\r\nContent-Range: bytes 0-16777215/16777216\r\nContent-Length: 16777216\r\n\r\n" +
                    file);
    handedOver.set_value();
  });
  ASSERT_TRUE(narrow.waitForFaults(id, 1, kLimit));

  EXPECT_EQ(handedOver.get_future().wait_for(milliseconds(50)), std::future_status::timeout);

  narrow.releaseStalls();
  EXPECT_EQ(connection.read(15), "HTTP/1.1 200 OK");
  sender.join();
}

TEST_F(Faults, SlowAnswerComesLater) {
  const FaultId id = order(Fault::slowAnswer(milliseconds(120)));
  const auto start = std::chrono::steady_clock::now();

  EXPECT_EQ(ask().status, 200);

  EXPECT_GE(std::chrono::steady_clock::now() - start, milliseconds(120));
  EXPECT_EQ(server.faultsDelivered(id), 1U);
}

TEST_F(Faults, TrickleSendsTheBodyInPieces) {
  const std::string whole = ask().body;
  const FaultId id = order(Fault::trickle(50, milliseconds(5)));

  EXPECT_EQ(ask().body, whole);
  EXPECT_EQ(server.faultsDelivered(id), 1U);
}

TEST_F(Faults, StatusBringsBodyTypeAndHeaders) {
  const FaultId id = order(Fault::status(429, "later", "text/plain").withHeader("Retry-After", "3"));

  const Answer answer = ask();

  EXPECT_EQ(answer.status, 429);
  EXPECT_EQ(answer.body, "later");
  EXPECT_EQ(answer.header("Content-Type"), "text/plain");
  EXPECT_EQ(answer.header("Retry-After"), "3");
  EXPECT_EQ(server.faultsDelivered(id), 1U);
}

TEST_F(Faults, StatusKeepsTheServiceOut) {
  const std::string file = someFile(kUnit);
  const std::string chunkTarget = openUpload(client, token, file.size());
  server.orderFault(Route::youtubeUploadChunk, Fault::status(500));

  EXPECT_EQ(putChunk(client, chunkTarget, token, file, 0, kUnit).status, 500);

  EXPECT_EQ(server.uploads()[0].receivedSize, 0U);
  EXPECT_EQ(putChunk(client, chunkTarget, token, file, 0, kUnit).status, 200);
}

TEST_F(Faults, BodyIsAnyTextWithStatus200) {
  order(Fault::body("<html>"));

  EXPECT_EQ(ask().body, "<html>");
}

TEST_F(Faults, BrokenJsonIsTheAnswerCutInTheMiddle) {
  const std::string whole = ask().body;
  const FaultId id = order(Fault::brokenJson());

  const Answer answer = ask();

  EXPECT_EQ(answer.status, 200);
  EXPECT_EQ(answer.body, whole.substr(0, answer.body.size()));
  EXPECT_LT(answer.body.size(), whole.size());
  EXPECT_TRUE(answer.json().isNull());
  EXPECT_EQ(server.faultsDelivered(id), 1U);
}

TEST_F(Faults, ReplacedMemberHoldsTheGivenText) {
  const FaultId id = order(Fault::replaceMember("id", "[7]"));

  const Json::Value answer = ask().json();

  EXPECT_EQ(answer["id"][0], 7);
  EXPECT_EQ(answer["email"], server.users()[0].email);
  EXPECT_EQ(server.faultsDelivered(id), 1U);
}

TEST_F(Faults, ReplacedMemberMayLieDeepAndMayBeNoJsonAtAll) {
  const Fields headers{bearer(token)};
  const std::string categories = "/youtube/v3/videoCategories?part=snippet&regionCode=us&alt=json";
  server.orderFault(Route::youtubeCategories, Fault::replaceMember("items.1.snippet.title", "null"));
  EXPECT_TRUE(client.get(categories, headers).json()["items"][1]["snippet"]["title"].isNull());

  order(Fault::replaceMember("id", "1e999999"));
  EXPECT_THAT(ask().body, testing::HasSubstr("\"id\":1e999999"));

  order(Fault::replaceMember("new.place", "true"));
  EXPECT_EQ(ask().json()["new"]["place"], true);
}

TEST_F(Faults, ReplacedMemberBehindATextIsNotDelivered) {
  const FaultId id = order(Fault::replaceMember("id.deeper", "1"));

  EXPECT_EQ(ask().json()["id"], server.users()[0].openId);
  EXPECT_EQ(server.faultsDelivered(id), 0U);
}

TEST_F(Faults, RemovedMemberIsGone) {
  const FaultId id = order(Fault::removeMember("given_name"));
  const FaultId none = order(Fault::removeMember("no_such_member"), 2);

  EXPECT_FALSE(ask().json().isMember("given_name"));
  EXPECT_TRUE(ask().json().isMember("given_name"));
  EXPECT_EQ(server.faultsDelivered(id), 1U);
  EXPECT_EQ(server.faultsDelivered(none), 0U);
}

TEST_F(Faults, TruncatedBodyPromisesMoreThanItSends) {
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

TEST_F(Faults, GzipCompressesUnasked) {
  const std::string whole = ask().body;
  const FaultId id = order(Fault::gzip());

  // The test's client undoes what the header announces.
  const Answer answer = ask();

  EXPECT_EQ(answer.header("Content-Encoding"), "gzip");
  EXPECT_EQ(answer.body, whole);
  EXPECT_EQ(server.faultsDelivered(id), 1U);
}

TEST_F(Faults, GzipBombInflatesToJsonOfItsSize) {
  constexpr std::size_t kInflated = 8 * 1024 * 1024;
  const FaultId id = order(Fault::gzipBomb(kInflated));
  RawConnection connection(server.port());
  connection.send("GET " + target + " HTTP/1.1\r\nHost: x\r\nConnection: close\r\n\r\n");
  EXPECT_LT(connection.readAll().size(), kInflated / 100);
  EXPECT_EQ(server.faultsDelivered(id), 1U);

  order(Fault::gzipBomb(kInflated));
  const Answer answer = ask();
  EXPECT_EQ(answer.body.size(), kInflated);
  EXPECT_EQ(answer.json()["code"], 0);
}

TEST_F(Faults, HugeBodyIsJsonOfItsSize) {
  constexpr std::size_t kSize = 3 * 1024 * 1024 + 1;
  const FaultId id = order(Fault::hugeBody(kSize));

  const Answer answer = ask();

  EXPECT_EQ(answer.body.size(), kSize);
  EXPECT_EQ(answer.json()["code"], 0);
  EXPECT_EQ(server.faultsDelivered(id), 1U);
}

TEST_F(Faults, HugeBodyEndsWhenTheClientGoes) {
  const FaultId id = order(Fault::hugeBody(std::uint64_t{1} << 40));
  {
    RawConnection connection(server.port());
    connection.send(rawRequest());
    EXPECT_EQ(connection.read(1000).size(), 1000U);
  }

  EXPECT_EQ(server.faultsDelivered(id), 1U);
  EXPECT_EQ(ask().status, 200);
}

TEST_F(Faults, DeepNestingIsWellFormed) {
  const FaultId id = order(Fault::deepNesting(2000));

  const std::string body = ask().body;

  EXPECT_EQ(std::count(body.begin(), body.end(), '['), 2000);
  EXPECT_EQ(std::count(body.begin(), body.end(), ']'), 2000);
  EXPECT_EQ(server.faultsDelivered(id), 1U);
}

TEST_F(Faults, ConnectionServesOnAfterAFaultThatLeavesItWhole) {
  const std::size_t before = server.connectionCount();
  ask();
  for (const Fault& fault : {Fault::status(500), Fault::brokenJson(), Fault::gzip(), Fault::hugeBody(100'000),
                             Fault::trickle(100, milliseconds(1)), Fault::deepNesting(10)}) {
    order(fault);
    EXPECT_TRUE(ask().arrived);
    EXPECT_EQ(ask().status, 200);
  }
  EXPECT_EQ(server.connectionCount(), before + 1);
}

}  // namespace
