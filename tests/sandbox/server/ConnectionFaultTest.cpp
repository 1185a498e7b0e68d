#include "sandbox/RawConnection.h"
#include "sandbox/UploadSteps.h"
#include "sandbox/server/FaultFixture.h"

#include <gmock/gmock.h>

#include <future>
#include <thread>

namespace {

using sandbox::Fault;
using sandbox::FaultId;
using sandbox::Platform;
using sandbox::Route;
using std::chrono::milliseconds;

constexpr std::chrono::seconds limit{30};
constexpr std::size_t unit = std::size_t{256} * 1024;

using ConnectionFaults = FaultFixture;

TEST_F(ConnectionFaults, CloseAtOnceEndsInOrderWithoutAByte) {
  const FaultId id = order(Fault::closeAtOnce());
  RawConnection connection(server.port());
  connection.send(rawRequest());

  EXPECT_EQ(connection.readAll(), "");
  EXPECT_EQ(connection.end(), RawConnection::End::closed);
  EXPECT_EQ(server.faultsDelivered(id), 1U);
}

TEST_F(ConnectionFaults, CloseAtOnceEndsInOrderWhileABodyIsComing) {
  const std::string file = someFile(8 * unit);
  const std::string chunkTarget = openUpload(client, token, file.size());
  const FaultId id = server.orderFault(Route::youtubeUploadChunk, Fault::closeAtOnce());
  RawConnection connection(server.port());
  connection.send(rawChunk(chunkTarget, file));

  EXPECT_EQ(connection.readAll(), "");
  EXPECT_EQ(connection.end(), RawConnection::End::closed);
  EXPECT_EQ(server.faultsDelivered(id), 1U);
}

TEST_F(ConnectionFaults, ResetAtOnceResetsWithoutAByte) {
  const FaultId id = order(Fault::resetAtOnce());
  RawConnection connection(server.port());
  connection.send(rawRequest());

  EXPECT_EQ(connection.readAll(), "");
  EXPECT_TRUE(connection.wasReset());
  EXPECT_EQ(server.faultsDelivered(id), 1U);
}

TEST_F(ConnectionFaults, ResetInTheMiddleOfARequestLosesTheChunk) {
  const std::string file = someFile(4 * unit);
  const std::string chunkTarget = openUpload(client, token, file.size());
  const FaultId id = server.orderFault(Route::youtubeUploadChunk, Fault::resetRequestAfter(unit));

  EXPECT_FALSE(putChunk(client, chunkTarget, token, file, 0, file.size()).arrived);

  EXPECT_EQ(server.faultsDelivered(id), 1U);
  const auto requests = server.requests(Route::youtubeUploadChunk);
  EXPECT_GE(requests[0].bodySize, unit);
  EXPECT_LT(requests[0].bodySize, file.size());
  EXPECT_EQ(requests[0].status, 0);
  EXPECT_EQ(putChunk(client, chunkTarget, token, file, 0, file.size()).status, 200);
  EXPECT_EQ(server.uploads()[0].sha256, sha256Of(file));
}

TEST_F(ConnectionFaults, ResetAfterMoreThanTheBodyResetsAtItsEnd) {
  const FaultId id = order(Fault::resetRequestAfter(1000));
  RawConnection connection(server.port());
  connection.send(rawRequest());

  connection.readAll();

  EXPECT_TRUE(connection.wasReset());
  EXPECT_EQ(server.faultsDelivered(id), 1U);
}

TEST_F(ConnectionFaults, ResetInTheMiddleOfAnAnswerSendsExactlySoMuch) {
  const FaultId id = order(Fault::resetAnswerAfter(20));
  RawConnection connection(server.port());
  connection.send(rawRequest());

  EXPECT_EQ(connection.readAll(), std::string("HTTP/1.1 200 OK\r\nContent").substr(0, 20));
  EXPECT_TRUE(connection.wasReset());
  EXPECT_EQ(server.faultsDelivered(id), 1U);
}

TEST_F(ConnectionFaults, LostAnswerFindsTheChunkAccepted) {
  const std::string file = someFile(unit);
  const std::string chunkTarget = openUpload(client, token, file.size());
  server.orderFault(Route::youtubeUploadChunk, Fault::resetAnswerAfter(0));

  EXPECT_FALSE(putChunk(client, chunkTarget, token, file, 0, unit).arrived);

  EXPECT_TRUE(server.uploads()[0].complete);
  EXPECT_EQ(putChunk(client, chunkTarget, token, file, 0, unit).status, 200);
}

TEST_F(ConnectionFaults, ResetBehindTheAnswersEndIsNotDelivered) {
  const FaultId id = order(Fault::resetAnswerAfter(100'000));

  EXPECT_EQ(ask().status, 200);
  EXPECT_EQ(ask().status, 200);
  EXPECT_EQ(server.faultsDelivered(id), 0U);
}

TEST_F(ConnectionFaults, StallHoldsTheAnswerUntilItIsReleased) {
  const FaultId id = order(Fault::stall());
  auto asked = std::async(std::launch::async, [&] { return TestClient(server).get(target); });
  ASSERT_TRUE(server.waitForFaults(id, 1, limit));
  EXPECT_TRUE(server.waitForRequests(Route::googleUserInfo, 1, limit));
  EXPECT_EQ(asked.wait_for(milliseconds(20)), std::future_status::timeout);

  server.releaseStalls();

  EXPECT_EQ(asked.get().status, 200);
}

TEST_F(ConnectionFaults, StallReadsTheWholeRequestAndTheServiceHasNotSeenIt) {
  const std::string file = someFile(4 * unit);
  const std::string chunkTarget = openUpload(client, token, file.size());
  const FaultId id = server.orderFault(Route::youtubeUploadChunk, Fault::stall());
  auto sent = std::async(std::launch::async, [&] {
    TestClient own(server);
    return putChunk(own, chunkTarget, token, file, 0, file.size());
  });
  ASSERT_TRUE(server.waitForFaults(id, 1, limit));

  EXPECT_EQ(server.requests(Route::youtubeUploadChunk)[0].bodySize, file.size());
  EXPECT_EQ(server.uploads()[0].receivedSize, 0U);
  server.releaseStalls();
  EXPECT_EQ(sent.get().status, 200);
  EXPECT_EQ(server.uploads()[0].sha256, sha256Of(file));
}

TEST_F(ConnectionFaults, StallEndsWhenTheClientGoesAndTheChunkCanComeAgain) {
  const std::string file = someFile(4 * unit);
  const std::string chunkTarget = openUpload(client, token, file.size());
  const FaultId id = server.orderFault(Route::youtubeUploadChunk, Fault::stall());
  {
    const RawConnection connection(server.port());
    connection.send(rawChunk(chunkTarget, file));
    ASSERT_TRUE(server.waitForFaults(id, 1, limit));
  }

  EXPECT_EQ(putChunk(client, chunkTarget, token, file, 0, file.size()).status, 200);
  EXPECT_EQ(server.uploads()[0].chunks.size(), 1U);
}

TEST_F(ConnectionFaults, StallInTheMiddleOfARequestReadsNoFurther) {
  const std::string file = someFile(4 * unit);
  const std::string chunkTarget = openUpload(client, token, file.size());
  const FaultId id = server.orderFault(Route::youtubeUploadChunk, Fault::stallRequestAfter(unit));
  auto sent = std::async(std::launch::async, [&] {
    TestClient own(server);
    return putChunk(own, chunkTarget, token, file, 0, file.size());
  });
  ASSERT_TRUE(server.waitForFaults(id, 1, limit));
  EXPECT_TRUE(server.waitForRequests(Route::youtubeUploadChunk, 1, limit));
  EXPECT_LT(server.requests(Route::youtubeUploadChunk)[0].bodySize, file.size());

  server.releaseStalls();

  EXPECT_EQ(sent.get().status, 200);
  EXPECT_EQ(server.uploads()[0].sha256, sha256Of(file));
}

TEST_F(ConnectionFaults, StallInTheMiddleOfAnAnswerSendsTheRestWhenReleased) {
  const FaultId id = order(Fault::stallAnswerAfter(17));
  RawConnection connection(server.port());
  connection.send("GET " + target + " HTTP/1.1\r\nHost: x\r\nConnection: close\r\n\r\n");
  EXPECT_EQ(connection.read(17), "HTTP/1.1 200 OK\r\n");
  ASSERT_TRUE(server.waitForFaults(id, 1, limit));

  server.releaseStalls();

  EXPECT_THAT(connection.readAll(), testing::HasSubstr(server.users()[0].email));
  EXPECT_EQ(connection.end(), RawConnection::End::closed);
}

TEST_F(ConnectionFaults, SlowRequestIsReadInPieces) {
  const std::string file = someFile(4 * unit);
  const std::string chunkTarget = openUpload(client, token, file.size());
  const FaultId id = server.orderFault(Route::youtubeUploadChunk, Fault::slowRequest(unit, milliseconds(30)));
  const auto start = std::chrono::steady_clock::now();

  EXPECT_EQ(putChunk(client, chunkTarget, token, file, 0, file.size()).status, 200);

  EXPECT_GE(std::chrono::steady_clock::now() - start, milliseconds(120));
  EXPECT_EQ(server.faultsDelivered(id), 1U);
  EXPECT_EQ(server.uploads()[0].sha256, sha256Of(file));
}

TEST_F(ConnectionFaults, SmallReceiveBufferHoldsTheClientBack) {
  sandbox::SandboxOptions options;
  options.receiveBuffer = 32 * 1024;
  sandbox::Sandbox narrow(options);
  TestClient own(narrow);
  const std::string ownToken = narrow.issueTokens(Platform::youtube).accessToken;
  const std::string file = someFile(64 * unit);
  const std::string chunkTarget = openUpload(own, ownToken, file.size());
  const FaultId id = narrow.orderFault(Route::youtubeUploadChunk, Fault::stallRequestAfter(unit));
  RawConnection connection(narrow.port());
  std::promise<void> handedOver;
  std::thread sender([&] {
    connection.send("PUT " + chunkTarget + " HTTP/1.1\r\nHost: x\r\nAuthorization: Bearer " + ownToken +
                    "\r\nContent-Range: bytes 0-16777215/16777216\r\nContent-Length: 16777216\r\n\r\n" +
                    file);
    handedOver.set_value();
  });
  ASSERT_TRUE(narrow.waitForFaults(id, 1, limit));

  EXPECT_EQ(handedOver.get_future().wait_for(milliseconds(50)), std::future_status::timeout);

  narrow.releaseStalls();
  EXPECT_EQ(connection.read(15), "HTTP/1.1 200 OK");
  sender.join();
}

TEST_F(ConnectionFaults, SlowAnswerComesLater) {
  const FaultId id = order(Fault::slowAnswer(milliseconds(120)));
  const auto start = std::chrono::steady_clock::now();

  EXPECT_EQ(ask().status, 200);

  EXPECT_GE(std::chrono::steady_clock::now() - start, milliseconds(120));
  EXPECT_EQ(server.faultsDelivered(id), 1U);
}

}  // namespace
