// Requests that wait on one another.
#include "boundary/records/Records.h"
#include "requests/ProbeRequest.h"
#include "requests/RequestsTest.h"
#include "support/WaitUntil.h"

#include <gmock/gmock.h>

#include <future>

using namespace KBL;

namespace {

constexpr const char* chainFunction = "KBL::BsExternlMediaAuthRequest::queryResponse";

/// A chain of three, as an upload builds it: each request tells the switchboard, the host's callback and the
/// next request.
class RequestChain : public RequestsTest {
 protected:
  void SetUp() override {
    RequestsTest::SetUp();
    info = makeRef<BsExternlMediaUploadInfo>();
    info->SetProtocol(&infoEnds);
    first = makeRequest<ProbeRequest>("First");
    second = makeRequest<ProbeRequest>("Second");
    third = makeRequest<ProbeRequest>("Third");
    for (ProbeRequest* const request : {first.get(), second.get(), third.get()}) {
      request->addCallback(&ExternlMediaAuthCallbackProxy::instance(), false);
      request->addCallback(&host, false);
    }
    first->addCallback(second.get(), false);
    second->addCallback(third.get(), false);
  }
  void TearDown() override {
    first.reset();
    second.reset();
    third.reset();
    info.reset();
    RequestsTest::TearDown();
    EXPECT_EQ(infoEnds.ends(), 1);
  }

  /// Hands all three over to the chain, so that none but the chain holds them.
  void startChain() {
    (void)second.leak();
    (void)third.leak();
    EXPECT_EQ(startAndHandOver(std::move(first), info.get()), 0);
  }
  [[nodiscard]] std::vector<std::string> namesToldToManager() const {
    std::vector<std::string> names;
    for (const ManagerCall& call : manager->calls("queryResponse")) names.push_back(call.requestName);
    return names;
  }
  /// The counter of one request's references, through the test's own.
  static int references(ProbeRequest& request) {
    request.AddRef();
    return request.Release();
  }

  EndCounter infoEnds;
  RefPtr<BsExternlMediaUploadInfo> info;
  RefPtr<ProbeRequest> first;
  RefPtr<ProbeRequest> second;
  RefPtr<ProbeRequest> third;
  HostCallback host;
};

}  // namespace

TEST_F(RequestChain, EachRequestStartsTheNextWithTheSameInfo) {
  std::vector<IBsInfoReader*> infos;
  host.action = [&](IBsBaseRequest*, IBsInfoReader* told, IBsErrorInfo*) { infos.push_back(told); };
  startChain();
  EXPECT_TRUE(waitUntil([this] { return host.calls == 3; }));
  EXPECT_TRUE(settle());

  EXPECT_THAT(namesToldToManager(), testing::ElementsAre("First", "Second", "Third"));
  EXPECT_THAT(infos, testing::Each(static_cast<IBsInfoReader*>(info.get())));
  EXPECT_EQ(network.exchanges().size(), 3U);
}

TEST_F(RequestChain, GoingOnIsLogged) {
  startChain();
  EXPECT_TRUE(log->waitForLineWith("Second :queryResponse conitnue"));
  EXPECT_TRUE(log->waitForLineWith("Third :queryResponse conitnue"));
  EXPECT_EQ(log->linesWith("conitnue")[0].function, chainFunction);
  EXPECT_EQ(log->linesWith("conitnue")[0].severity, 4);
}

TEST_F(RequestChain, AFailureDropsAllThatWaitAndTellsTheHostOnce) {
  network.answer(okReply(R"({"code":7,"msg":"no"})"));
  startChain();
  EXPECT_TRUE(log->waitForLineWith("Second :queryResponse"));
  EXPECT_TRUE(settle());

  EXPECT_TRUE(log->hasLine("Second :queryResponse interrupt"));
  EXPECT_TRUE(log->hasLine("Third :queryResponse interrupt"));
  EXPECT_EQ(network.exchanges().size(), 1U);
  EXPECT_EQ(host.calls, 1);
  EXPECT_EQ(host.lastCode, 7);
  EXPECT_THAT(namesToldToManager(), testing::ElementsAre("First"));
}

TEST_F(RequestChain, AFailureInTheMiddleIsToldByTheMiddleAlone) {
  network.answer([this](const FakeExchange&) {
    return network.exchanges().size() == 2 ? okReply(R"({"code":9,"msg":"no"})") : okReply(R"({"code":0})");
  });
  startChain();
  EXPECT_TRUE(log->waitForLineWith("Third :queryResponse interrupt"));
  EXPECT_TRUE(settle());

  EXPECT_EQ(host.calls, 2);
  EXPECT_EQ(host.lastCode, 9);
  EXPECT_THAT(namesToldToManager(), testing::ElementsAre("First", "Second"));
}

TEST_F(RequestChain, ADroppedRequestHasOneReferenceToGiveBack) {
  const RefPtr<ProbeRequest> watched = second;
  network.answer(okReply(R"({"code":7})"));
  startChain();
  EXPECT_TRUE(log->waitForLineWith("Second :queryResponse interrupt"));
  EXPECT_EQ(references(*watched), 2);
  EXPECT_TRUE(time->advanceUntil([&] { return references(*watched) == 1; }, 500));
}

TEST_F(RequestChain, ADroppedRequestNoLongerTellsTheSwitchboard) {
  const RefPtr<ProbeRequest> watched = second;
  network.answer(okReply(R"({"code":7})"));
  startChain();
  EXPECT_TRUE(log->waitForLineWith("Second :queryResponse interrupt"));

  EXPECT_THAT(watched->registered(),
              testing::Not(testing::Contains(&ExternlMediaAuthCallbackProxy::instance())));
  EXPECT_THAT(watched->registered(), testing::Contains(&host));
}

TEST_F(RequestChain, ChainMode1GoesOnAfterAFailure) {
  second->setChainMode(1);
  network.answer([this](const FakeExchange&) {
    return network.exchanges().size() == 1 ? okReply(R"({"code":7})") : okReply(R"({"code":0})");
  });
  startChain();
  EXPECT_TRUE(waitUntil([this] { return network.exchanges().size() == 3; }));
  EXPECT_TRUE(settle());
  EXPECT_TRUE(log->hasLine("Second :queryResponse conitnue"));
}

TEST_F(RequestChain, ChainMode2DropsWithoutTellingThoseBehind) {
  second->setChainMode(2);
  const RefPtr<ProbeRequest> unheard = third;
  network.answer(okReply(R"({"code":7})"));
  startChain();
  EXPECT_TRUE(log->waitForLineWith("Second :queryResponse interrupt"));
  EXPECT_TRUE(time->advanceUntil([this] { return liveRequests() == 1; }, 500));

  EXPECT_TRUE(log->linesWith("Third :queryResponse").empty());
  unheard->Release();  // its creator's, which nobody took
}

TEST_F(RequestChain, AMissingInfoOrErrorCountsAsAFailure) {
  const auto error = shareRef(second->errorInfo().get());
  (void)second->AddRef();
  (void)second->AddRef();
  (void)third.leak();
  EXPECT_EQ(second->queryResponse(first.get(), nullptr, error.get()), resultOk);
  EXPECT_TRUE(log->hasLine("Second :queryResponse interrupt"));
  EXPECT_TRUE(log->hasLine("Third :queryResponse interrupt"));
  second->clearCallbacks();

  EXPECT_EQ(second->queryResponse(first.get(), info.get(), nullptr), resultOk);
  EXPECT_EQ(log->linesWith("Second :queryResponse interrupt").size(), 2U);
  EXPECT_EQ(network.clientsMade(), 0);
}

TEST_F(RequestChain, ARequestThatWasAbortedWhileItWaitedIsDropped) {
  const RefPtr<ProbeRequest> watched = second;
  network.answer([&](const FakeExchange&) {
    watched->abortForGood();
    return okReply(R"({"code":0})");
  });
  startChain();
  EXPECT_TRUE(log->waitForLineWith("Second :queryResponse interrupt"));
  EXPECT_TRUE(log->waitForLineWith("Third :queryResponse interrupt"));

  EXPECT_EQ(network.exchanges().size(), 1U);
  EXPECT_EQ(host.calls, 1);
  EXPECT_TRUE(watched->isAborted());
}

TEST_F(RequestChain, AnOrdinaryAbortFlagStopsAWaitingRequestToo) {
  second->abordAsyncRequest();
  startChain();
  EXPECT_TRUE(log->waitForLineWith("Second :queryResponse interrupt"));
  EXPECT_EQ(network.exchanges().size(), 1U);
}

TEST_F(RequestChain, ADeadManagerDropsAllThatWait) {
  network.answer([this](const FakeExchange&) {
    killManager();
    return okReply(R"({"code":0})");
  });
  startChain();
  EXPECT_TRUE(log->waitForLineWith("Third :queryResponse interrupt"));
  EXPECT_TRUE(settle());

  EXPECT_EQ(network.exchanges().size(), 1U);
  EXPECT_EQ(host.calls, 0);
}

TEST_F(RequestChain, AManagerThatDiesBetweenTwoRequestsEndsTheChain) {
  host.action = [this](auto*, auto*, auto*) { killManager(); };
  startChain();
  EXPECT_TRUE(log->waitForLineWith("Third :queryResponse interrupt"));
  EXPECT_TRUE(settle());

  EXPECT_EQ(network.exchanges().size(), 2U);
  EXPECT_EQ(host.calls, 1);
}

/// Whatever the order of start and abort, an abort for good stays, and nothing leaks.
TEST_F(RequestChain, AbortAndStartMayMeetInAnyOrder) {
  for (int round = 0; round < 200; ++round) {
    auto waiting = makeRequest<ProbeRequest>("Waiting");
    const RefPtr<ProbeRequest> watched = waiting;
    std::promise<void> go;
    auto aborted = std::async(std::launch::async, [&, ready = go.get_future()]() mutable {
      ready.wait();
      watched->abortForGood();
    });
    const auto error = shareRef(first->errorInfo().get());
    ProbeRequest* const raw = waiting.leak();
    go.set_value();
    raw->queryResponse(first.get(), info.get(), error.get());
    aborted.get();
    EXPECT_TRUE(watched->isAborted());
  }
  // Those of the fixture never ran.
  first.reset();
  second.reset();
  third.reset();
}
