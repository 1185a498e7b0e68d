// Runs of a request on a thread of their own.
#include "foundation/bsnet/BaseRequestFixture.h"
#include "support/ReferenceCount.h"
#include "support/WaitUntil.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <memory>
#include <stdexcept>

using KBL::BsErrorInfo;
using KBL::makeRef;
using KBL::RefPtr;

namespace {

/// Answers 200 once the test lets it.
FakeNetwork::Answer heldUntil(const std::shared_future<void>& mayEnd) {
  return [mayEnd](const SeenExchange&, KBL::IBsResponseWriteCallback*, KBL::IBsProgressCallback*) {
    mayEnd.wait();
    return FakeNetwork::status(200);
  };
}

TEST(BaseRequestRun, AsynchronousRunTellsTheCallbacksAndGivesItsReferencesBack) {
  const FakeNetwork network(always(FakeNetwork::status(200, "x")));
  const auto request = makeRef<Request>();
  const auto param = paramFor("http://a/");
  const auto error = makeRef<BsErrorInfo>();
  Listener listener;
  request->addCallback(&listener, false);

  EXPECT_EQ(request->asyncRequest(param.get(), error.get(), true), KBL::resultOk);
  ASSERT_TRUE(waitUntil([&] { return listener.calls == 1; }));
  request->clearAsyncRequest();

  EXPECT_EQ(request->isAsyncRequestFinished(), 1);
  EXPECT_EQ(listener.lastInfo, static_cast<KBL::IBsInfoReader*>(param.get()));
  EXPECT_EQ(referencesTo(*request), 1);
  EXPECT_EQ(referencesTo(*param), 1);
}

TEST(BaseRequestRun, SecondRunDuringARunIsRefused) {
  std::promise<void> mayEnd;
  const FakeNetwork network(heldUntil(mayEnd.get_future().share()));
  const auto request = makeRef<Request>();
  const auto error = makeRef<BsErrorInfo>();

  EXPECT_EQ(request->asyncRequest(paramFor("http://a/").get(), error.get(), false), KBL::resultOk);
  EXPECT_EQ(request->isAsyncRequestFinished(), 0);
  EXPECT_EQ(request->asyncRequest(paramFor("http://a/").get(), error.get(), false), KBL::resultFailed);
  mayEnd.set_value();
  request->clearAsyncRequest();

  EXPECT_EQ(request->isAsyncRequestFinished(), 1);
  EXPECT_EQ(network.seen().size(), 1U);
}

TEST(BaseRequestRun, AbortStopsFurtherTriesAndANewRunClearsIt) {
  RefPtr<Request> request = makeRef<Request>();
  const FakeNetwork network(
      [&](const SeenExchange&, KBL::IBsResponseWriteCallback*, KBL::IBsProgressCallback*) {
        request->abordAsyncRequest();
        return FakeNetwork::status(503);
      });
  request->SetRetryTimes(5);
  const auto error = makeRef<BsErrorInfo>();

  request->asyncRequest(paramFor("http://a/").get(), error.get(), false);
  request->clearAsyncRequest();
  EXPECT_EQ(network.seen().size(), 1U);
  request->asyncRequest(paramFor("http://a/").get(), error.get(), false);
  request->clearAsyncRequest();

  EXPECT_EQ(network.seen().size(), 2U);
}

TEST(BaseRequestRun, WorkerMayHoldTheLastReference) {
  std::promise<void> mayEnd;
  const FakeNetwork network(heldUntil(mayEnd.get_future().share()));
  const int before = Request::alive;
  {
    const auto request = makeRef<Request>();
    request->asyncRequest(paramFor("http://a/").get(), makeRef<BsErrorInfo>().get(), false);
  }
  EXPECT_EQ(Request::alive, before + 1);

  mayEnd.set_value();

  EXPECT_TRUE(waitUntil([&] { return Request::alive == before; }));
}

TEST(BaseRequestRun, CallbackOnTheWorkerMayClearTheRunAndStartTheNext) {
  const FakeNetwork network(always(FakeNetwork::status(200)));
  const auto request = makeRef<Request>();
  const auto error = makeRef<BsErrorInfo>();
  std::atomic<int> started{0};
  Listener listener([&] {
    request->clearAsyncRequest();
    if (++started == 1) request->asyncRequest(paramFor("http://a/second").get(), error.get(), false);
  });
  request->addCallback(&listener, false);

  request->asyncRequest(paramFor("http://a/first").get(), error.get(), false);

  EXPECT_TRUE(waitUntil([&] { return listener.calls == 2; }));
  EXPECT_TRUE(waitUntil([&] { return request->isAsyncRequestFinished() == 1; }));
}

TEST(BaseRequestRun, DroppedThreadHandleNeitherWaitsNorEndsTheProcess) {
  auto mayEnd = std::make_shared<std::promise<void>>();
  auto ended = std::make_shared<std::promise<void>>();
  auto handle = Request::startThread([future = mayEnd->get_future().share(), ended] {
    future.wait();
    ended->set_value();
  });
  ASSERT_NE(handle, nullptr);

  handle.reset();
  mayEnd->set_value();

  EXPECT_EQ(ended->get_future().wait_for(generousLimit), std::future_status::ready);
}

TEST(BaseRequestRun, WorkThatThrowsEndsItsThreadAlone) {
  const auto handle = Request::startThread([] { throw std::runtime_error("work"); });
  ASSERT_NE(handle, nullptr);

  handle->join();
}

}  // namespace
