// Requests that wait on one another.
#include "boundary/records/Records.h"
#include "requests/ProbeRequest.h"
#include "requests/RequestsFixture.h"
#include "support/NoThreads.h"
#include "support/RequestListener.h"
#include "support/WaitUntil.h"
#include <BsNet/BsErrorInfo.h>

#include <gmock/gmock.h>

#include <future>
#include <optional>

using namespace KBL;

namespace {

constexpr const char* chainFunction = "KBL::BsExternlMediaAuthRequest::queryResponse";

/// A chain of three, as an upload builds it: each request tells the switchboard, the host's callback and the
/// next request.
class RequestChain : public RequestsFixture {
 protected:
  void SetUp() override {
    RequestsFixture::SetUp();
    info = makeRef<BsExternlMediaUploadInfo>();
    info->SetProtocol(&infoEnds);
    first = makeRequest<ProbeRequest>("First");
    second = makeRequest<ProbeRequest>("Second");
    third = makeRequest<ProbeRequest>("Third");
    for (ProbeRequest* const request : {first.get(), second.get(), third.get()}) {
      request->addCallback(&ExternlMediaAuthCallbackProxy::instance(), false);
      request->addCallback(&host, false);
    }
  }
  void TearDown() override {
    first.reset();
    second.reset();
    third.reset();
    info.reset();
    RequestsFixture::TearDown();
    EXPECT_EQ(infoEnds.calls, 1);
  }

  /// Hands all three over to the chain, so that none but the chain holds them.
  void startChain() {
    EXPECT_EQ(second->goOnWith(std::move(third)), resultOk);
    EXPECT_EQ(first->goOnWith(std::move(second)), resultOk);
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

  LastRelease infoEnds;
  RefPtr<BsExternlMediaUploadInfo> info;
  RefPtr<ProbeRequest> first;
  RefPtr<ProbeRequest> second;
  RefPtr<ProbeRequest> third;
  RequestListener host;
};

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
  network.reply(200, R"({"code":0})");
  network.reply(200, R"({"code":9,"msg":"no"})");
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
  network.reply(200, R"({"code":7})");
  network.reply(200, R"({"code":0})");
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
  // One that goes is counted no more a moment before it lets go of those behind it.
  EXPECT_TRUE(waitUntil([&] { return references(*unheard) == 1; }));
}

TEST_F(RequestChain, OneThatNobodyTellsGoesWithTheOneBeforeIt) {
  const RefPtr<ProbeRequest> unheard = second;
  host.action = [](IBsBaseRequest* request, IBsInfoReader*, IBsErrorInfo*) { request->clearCallbacks(); };
  startChain();
  EXPECT_TRUE(time->advanceUntil([this] { return liveRequests() == 2; }, 500));

  EXPECT_TRUE(log->linesWith("Second :queryResponse").empty());
  EXPECT_TRUE(waitUntil([&] { return references(*unheard) == 1; }));
  EXPECT_EQ(network.exchanges().size(), 1U);
}

TEST_F(RequestChain, AChainThatNeverStartsIsGivenUpWhole) {
  EXPECT_EQ(second->goOnWith(std::move(third)), resultOk);
  EXPECT_EQ(first->goOnWith(std::move(second)), resultOk);
  first.reset();
  EXPECT_EQ(liveRequests(), 0);
}

TEST_F(RequestChain, ChainMode1GoesOnBehindARequestThatWasDropped) {
  third->setChainMode(1);
  network.reply(200, R"({"code":7})");
  network.reply(200, R"({"code":0})");
  startChain();
  EXPECT_TRUE(log->waitForLineWith("Third :queryResponse conitnue"));
  EXPECT_TRUE(settle());

  EXPECT_TRUE(log->hasLine("Second :queryResponse interrupt"));
  EXPECT_THAT(namesToldToManager(), testing::ElementsAre("First", "Third"));
}

TEST_F(RequestChain, ChainMode2GoesOnAfterASuccess) {
  second->setChainMode(2);
  startChain();
  EXPECT_TRUE(log->waitForLineWith("Third :queryResponse conitnue"));
  EXPECT_TRUE(settle());
  EXPECT_THAT(namesToldToManager(), testing::ElementsAre("First", "Second", "Third"));
}

TEST_F(RequestChain, ARequestThatRunsAlreadyIsNotDropped) {
  ProbeRequest* const running = second.get();
  const auto success = makeRef<BsErrorInfo>();
  network.onExchange([&](const SentExchange& sent) {
    if (sent.number == 2) running->queryResponse(nullptr, info.get(), success.get());
  });
  startChain();
  EXPECT_TRUE(waitUntil([this] { return host.calls == 3; }));
  EXPECT_TRUE(settle());

  EXPECT_TRUE(log->hasLine("Second:asyncRequest not finished, return"));
  EXPECT_EQ(log->linesWith("Second :queryResponse conitnue").size(), 2U);
  EXPECT_TRUE(log->linesWith("interrupt").empty());
}

TEST_F(RequestChain, ACallbackThatAnswersAFailureStopsNothing) {
  host.answer = resultFailed;
  startChain();
  EXPECT_TRUE(waitUntil([this] { return host.calls == 3; }));
  EXPECT_TRUE(settle());
  EXPECT_THAT(namesToldToManager(), testing::ElementsAre("First", "Second", "Third"));
}

TEST_F(RequestChain, AMissingInfoOrErrorCountsAsAFailure) {
  const auto error = shareRef(second->errorInfo().get());
  (void)second->AddRef();
  (void)second->AddRef();
  EXPECT_EQ(second->goOnWith(std::move(third)), resultOk);
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
  network.onExchange([&](const SentExchange&) { watched->abortForGood(); });
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
  network.onExchange([this](const SentExchange&) { killManager(); });
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

#if defined(__GLIBC__)

TEST_F(RequestChain, OneThatGetsNoThreadEndsLikeAFailedOne) {
  std::optional<NoThreads> noThreads;
  std::vector<std::string> told;
  host.action = [&](IBsBaseRequest* request, IBsInfoReader*, IBsErrorInfo* error) {
    told.push_back(request->getRequestName() + std::string(": ") + errorText(*error));
    told.size() == 1 ? void(noThreads.emplace()) : noThreads.reset();
  };
  startChain();
  EXPECT_TRUE(settle());

  EXPECT_THAT(told, testing::ElementsAre("First: 0, ", "Second: -10004, create network request failed"));
  EXPECT_THAT(namesToldToManager(), testing::ElementsAre("First", "Second"));
  EXPECT_EQ(network.exchanges().size(), 1U);
  EXPECT_TRUE(log->hasLine("Third :queryResponse interrupt"));
  EXPECT_FALSE(log->hasLine("Second :queryResponse conitnue"));
}

TEST_F(RequestChain, OneThatGetsNoThreadMayStartAgain) {
  {
    const NoThreads noThreads;
    EXPECT_EQ(first->asyncRequestWithInfo(info.get()), 1);
  }
  startChain();
  EXPECT_TRUE(waitUntil([this] { return host.calls == 3; }));
  EXPECT_TRUE(settle());
}
#endif

}  // namespace
