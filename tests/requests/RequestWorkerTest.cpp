// The worker of a request: start, retries, callbacks, and how the references are given back.
#include "boundary/records/Records.h"
#include "requests/ProbeRequest.h"
#include "requests/RequestsFixture.h"
#include "support/NoThreads.h"
#include "support/ReferenceCount.h"
#include "support/RequestListener.h"
#include "support/WaitUntil.h"

#include <gmock/gmock.h>

#include <limits>

using namespace KBL;
using testing::ElementsAre;

namespace {

class RequestWorker : public RequestsFixture {
 protected:
  void SetUp() override {
    RequestsFixture::SetUp();
    info = makeRef<BsExternlMediaAuthMixedInfo>();
    info->SetProtocol(&infoEnds);
    request = makeRequest<ProbeRequest>();
    request->SetProtocol(&requestEnds);
    request->addCallback(&callback, false);
  }
  void TearDown() override {
    request.reset();
    info.reset();
    RequestsFixture::TearDown();
    EXPECT_EQ(infoEnds.calls, 1);
    EXPECT_EQ(requestEnds.calls, 1);
  }
  /// Starts the request, keeps it alive through `request`, and waits for its callback.
  void run() {
    EXPECT_EQ(startAndHandOver(request, info.get()), 0);
    EXPECT_TRUE(waitUntil([this] { return callback.calls > 0; }));
  }
  [[nodiscard]] std::vector<int> timeouts() const {
    std::vector<int> all;
    for (const SentExchange& exchange : network.exchanges()) all.push_back(exchange.totalTimeoutMs);
    return all;
  }

  LastRelease infoEnds;
  LastRelease requestEnds;
  RefPtr<BsExternlMediaAuthMixedInfo> info;
  RefPtr<ProbeRequest> request;
  RequestListener callback;
};

TEST_F(RequestWorker, RunsTheRequestAndTellsItsCallbacks) {
  network.answer(okReply(R"({"code":0})"));
  run();

  EXPECT_EQ(callback.lastCode, 0);
  EXPECT_EQ(request->published, 1);
  EXPECT_TRUE(log->hasLine("base _asyncRequestWithInfo:Probe"));
  EXPECT_TRUE(log->hasLine("Probe, base _asyncRequestWithInfo cb, size:10, code:0, msg:, try:1/1, abort:0"));
  EXPECT_TRUE(log->hasLine(
      "Probe, base _asyncRequestWithInfo cb, size:10, code:0, msg:, try:1/1, abort:0, result:0"));
  for (const LogLine& line : log->linesWith("base _asyncRequestWithInfo")) {
    EXPECT_EQ(line.function, "KBL::BsExternlMediaAuthRequest::_asyncRequestWithInfo");
    EXPECT_EQ(line.severity, 4) << line.text;
  }
}

TEST_F(RequestWorker, LogsTheCountsAtItsStart) {
  run();

  // The test's reference and the creator's on the request, the test's on the info, and one of the start each.
  const std::vector<LogLine> lines = log->linesWith("this refCnt");
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_EQ(lines[0].text, "Probe, this refCnt:3info refCnt: 2");
  EXPECT_EQ(lines[0].severity, 4);
  EXPECT_EQ(lines[0].function, "KBL::BsExternlMediaAuthRequest::asyncRequestWithInfo");
}

TEST_F(RequestWorker, ANullInfoIsRefused) {
  EXPECT_EQ(request->asyncRequestWithInfo(nullptr), 1);
  EXPECT_EQ(network.clientsMade(), 0);
}

TEST_F(RequestWorker, TheCallbackRunsOnAnotherThreadWithTheRequestsOwnObjects) {
  std::thread::id thread;
  IBsBaseRequest* told = nullptr;
  IBsInfoReader* toldInfo = nullptr;
  IBsErrorInfo* toldError = nullptr;
  callback.action = [&](IBsBaseRequest* one, IBsInfoReader* two, IBsErrorInfo* three) {
    thread = std::this_thread::get_id();
    told = one;
    toldInfo = two;
    toldError = three;
  };
  run();

  EXPECT_NE(thread, std::this_thread::get_id());
  EXPECT_EQ(told, static_cast<IBsBaseRequest*>(request.get()));
  EXPECT_EQ(toldInfo, static_cast<IBsInfoReader*>(info.get()));
  EXPECT_EQ(toldError, request->errorInfo().get());
}

TEST_F(RequestWorker, TwoReferencesGoBackHalfASecondLater) {
  run();
  EXPECT_TRUE(time->waitForWaiters(2));
  EXPECT_EQ(referencesTo(*request), 3);  // the test's, the creator's, the start's

  time->advance(499);
  EXPECT_EQ(referencesTo(*request), 3);

  time->advance(1);
  EXPECT_TRUE(waitUntil([this] { return referencesTo(*request) == 1; }));
}

TEST_F(RequestWorker, TheInfoIsReleasedAtOnce) {
  run();
  EXPECT_TRUE(waitUntil([this] { return referencesTo(*info) == 1; }));
}

TEST_F(RequestWorker, TheRequestOutlivesItsWorkerWithoutAnyOtherReference) {
  ProbeRequest* const raw = request.get();
  EXPECT_EQ(startAndHandOver(std::move(request), info.get()), 0);
  EXPECT_TRUE(waitUntil([this] { return callback.calls > 0; }));
  EXPECT_TRUE(time->waitForWaiters(2));
  EXPECT_EQ(requestEnds.calls, 0);
  EXPECT_STREQ(raw->getRequestName(), "Probe");

  EXPECT_TRUE(settle());
  EXPECT_EQ(requestEnds.calls, 1);
}

TEST_F(RequestWorker, ASecondStartDuringARunIsRefusedAndAddsNoReference) {
  network.hold("/");
  EXPECT_EQ(startAndHandOver(request, info.get()), 0);
  ASSERT_TRUE(network.waitForExchanges("/", 1));

  EXPECT_EQ(request->AddRef(), 4);
  EXPECT_EQ(request->asyncRequestWithInfo(info.get()), 1);
  EXPECT_EQ(request->Release(), 3);
  const std::vector<LogLine> lines = log->linesWith("not finished");
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_EQ(lines[0].text, "Probe:asyncRequest not finished, return");
  EXPECT_EQ(lines[0].function, "KBL::BsExternlMediaAuthRequest::asyncRequestWithInfo");
  EXPECT_EQ(lines[0].severity, 4);

  network.open("/");
  EXPECT_TRUE(waitUntil([this] { return callback.calls > 0; }));
}

TEST_F(RequestWorker, CanRunAgainAfterItsEnd) {
  run();
  EXPECT_TRUE(waitUntil([this] { return request->isAsyncRequestFinished() == 1; }));
  EXPECT_EQ(startAndHandOver(request, info.get()), 0);
  EXPECT_TRUE(waitUntil([this] { return callback.calls == 2; }));
  EXPECT_EQ(request->clearAsyncRequest(), resultOk);
}

TEST_F(RequestWorker, TriesGetGrowingTimeoutsAndTheTimeoutIsRestored) {
  request->SetRetryTimes(2);
  request->setTimeout(10000);
  network.answer(transportFailure(7, "refused"));
  run();

  EXPECT_THAT(timeouts(), ElementsAre(10000, 20000, 30000));
  EXPECT_EQ(request->getTimeout(), 10000);
  EXPECT_EQ(callback.lastCode, 200007);
  EXPECT_TRUE(log->hasLine(
      "Probe, base _asyncRequestWithInfo cb, size:0, code:200007, msg:refused, try:2/3, abort:0"));
  EXPECT_TRUE(log->hasLine(
      "Probe, base _asyncRequestWithInfo cb, size:0, code:200007, msg:refused, try:3/3, abort:0, result:1"));
}

TEST_F(RequestWorker, CallbacksSeeTheTimeoutThatTheRequestBeganWith) {
  request->SetRetryTimes(2);
  request->setTimeout(10000);
  network.answer(transportFailure(7, "refused"));
  int seen = 0;
  callback.action = [&](auto*, auto*, auto*) { seen = request->getTimeout(); };
  run();
  EXPECT_EQ(seen, 10000);
}

TEST_F(RequestWorker, AnAttemptWithoutAnExchangeHasNoSize) {
  network.answer(okReply(R"({"code":0})"));
  run();
  EXPECT_TRUE(waitUntil([this] { return request->isAsyncRequestFinished() == 1; }));
  network.refuseClients();
  EXPECT_EQ(startAndHandOver(request, info.get()), 0);
  EXPECT_TRUE(waitUntil([this] { return callback.calls == 2; }));

  EXPECT_TRUE(log->hasLine(
      "Probe, base _asyncRequestWithInfo cb, size:0, code:-10004, msg:create network request failed, "
      "try:1/1, abort:0, result:1"));
}

TEST_F(RequestWorker, ATimeoutThatWouldOverflowStaysTheGreatest) {
  request->SetRetryTimes(1);
  request->setTimeout(std::numeric_limits<int>::max());
  network.answer(transportFailure(7, "refused"));
  run();

  EXPECT_THAT(timeouts(), ElementsAre(std::numeric_limits<int>::max(), std::numeric_limits<int>::max()));
}

TEST_F(RequestWorker, ATryThatSucceedsEndsThem) {
  request->SetRetryTimes(5);
  for (int tries = 0; tries < 2; ++tries) network.reply(503, "busy");
  network.reply(200, R"({"code":0})");
  run();

  EXPECT_EQ(network.exchanges().size(), 3U);
  EXPECT_EQ(callback.lastCode, 0);
  EXPECT_EQ(callback.calls, 1);
}

TEST_F(RequestWorker, AFailureThatNeedsNoRetryEndsThem) {
  request->SetRetryTimes(5);
  network.answer(okReply(R"({"code":7,"msg":"x"})"));
  run();

  EXPECT_EQ(network.exchanges().size(), 1U);
  EXPECT_EQ(callback.lastCode, 7);
}

TEST_F(RequestWorker, AnAbortEndsTheTriesButNotTheOneThatRuns) {
  request->SetRetryTimes(5);
  network.answer([this](const SentExchange&) {
    request->abordAsyncRequest();
    return transportFailure(7, "refused");
  });
  run();

  EXPECT_EQ(network.exchanges().size(), 1U);
  EXPECT_FALSE(log->linesWith("try:1/6, abort:1, result:1").empty());
}

TEST_F(RequestWorker, AStartByTheCreatorClearsAFormerAbort) {
  request->abordAsyncRequest();
  run();
  EXPECT_FALSE(request->isAborted());
}

TEST_F(RequestWorker, AnAbortForGoodIsNotClearedByAStart) {
  request->abortForGood();
  EXPECT_EQ(request->asyncRequestWithInfo(info.get()), 1);
  EXPECT_TRUE(request->isAborted());
  EXPECT_EQ(network.clientsMade(), 0);
}

TEST_F(RequestWorker, WithoutItsManagerNoCallbackIsCalled) {
  killManager();
  EXPECT_EQ(startAndHandOver(request, info.get()), 0);
  EXPECT_TRUE(log->waitForLineWith("result:0"));
  EXPECT_TRUE(time->waitForWaiters(2));
  EXPECT_EQ(callback.calls, 0);
}

TEST_F(RequestWorker, AManagerThatDiesDuringTheExchangeSilencesIt) {
  network.onExchange([this](const SentExchange&) { killManager(); });
  EXPECT_EQ(startAndHandOver(request, info.get()), 0);
  EXPECT_TRUE(time->waitForWaiters(2));
  EXPECT_EQ(callback.calls, 0);
}

TEST_F(RequestWorker, NotifyMode1TellsTheOwner) {
  request->setNotifyMode(1);
  run();
  EXPECT_TRUE(waitUntil([this] { return manager->count("cbRequestNotify") == 1; }));
  EXPECT_EQ(manager->calls("cbRequestNotify")[0].uuid, uuid);
}

TEST_F(RequestWorker, TheOwnerHearsAfterTheCallbacks) {
  request->setNotifyMode(1);
  std::size_t toldBefore = 1;
  callback.action = [&](auto*, auto*, auto*) { toldBefore = manager->count("cbRequestNotify"); };
  run();
  EXPECT_TRUE(waitUntil([this] { return manager->count("cbRequestNotify") == 1; }));
  EXPECT_EQ(toldBefore, 0U);
}

TEST_F(RequestWorker, NotifyMode2DoesNot) {
  run();
  EXPECT_TRUE(time->waitForWaiters(2));
  EXPECT_EQ(manager->count("cbRequestNotify"), 0U);
}

TEST_F(RequestWorker, ACallbackThatThrowsHarmsNothing) {
  RequestListener second;
  request->addCallback(&second, false);
  callback.action = [](auto*, auto*, auto*) { throw std::runtime_error("from the host"); };
  EXPECT_EQ(startAndHandOver(request, info.get()), 0);
  EXPECT_TRUE(waitUntil([&] { return second.calls > 0; }));
  EXPECT_TRUE(time->waitForWaiters(2));
}

TEST_F(RequestWorker, DelayReleaseGivesOneReferenceBackWhenItsTimeIsUp) {
  request->AddRef();
  request->delayRelease(70);
  EXPECT_TRUE(time->waitForWaiters(1));
  time->advance(69);
  EXPECT_EQ(referencesTo(*request), 2);
  time->advance(1);
  EXPECT_TRUE(waitUntil([this] { return referencesTo(*request) == 1; }));
}

#if defined(__GLIBC__)

TEST_F(RequestWorker, WithoutAThreadAStartFailsAndKeepsNoReference) {
  const NoThreads noThreads;
  EXPECT_EQ(request->asyncRequestWithInfo(info.get()), 1);
  EXPECT_EQ(referencesTo(*request), 1);
  EXPECT_EQ(referencesTo(*info), 1);
  EXPECT_EQ(request->isAsyncRequestFinished(), 1);
}

TEST_F(RequestWorker, WithoutAThreadALateReleaseComesAtOnce) {
  const NoThreads noThreads;
  request->AddRef();
  request->delayRelease(500);
  EXPECT_EQ(referencesTo(*request), 1);
}

TEST_F(RequestWorker, AWorkerThatCannotMakeSleepersEndsSoundly) {
  std::optional<NoThreads> noThreads;
  callback.action = [&](auto*, auto*, auto*) { noThreads.emplace(); };
  EXPECT_EQ(startAndHandOver(std::move(request), info.get()), 0);
  EXPECT_TRUE(waitUntil([this] { return requestEnds.calls == 1; }));
  noThreads.reset();
}
#endif

}  // namespace
