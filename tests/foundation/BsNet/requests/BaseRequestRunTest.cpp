// Runs of a request on a thread of their own.
#include "foundation/BsNet/requests/BaseRequestFixture.h"
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

TEST(BaseRequestRun, AsynchronousRunTellsTheCallbacksAndGivesItsReferencesBack) {
  const ScriptedNetwork network(okReply("x"));
  const auto request = makeRef<Request>();
  const auto param = paramFor("http://a/");
  const auto error = makeRef<BsErrorInfo>();
  RequestListener listener;
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
  ScriptedNetwork network(okReply());
  network.hold("/");
  const auto request = makeRef<Request>();
  const auto error = makeRef<BsErrorInfo>();

  EXPECT_EQ(request->asyncRequest(paramFor("http://a/").get(), error.get(), false), KBL::resultOk);
  EXPECT_EQ(request->isAsyncRequestFinished(), 0);
  EXPECT_EQ(request->asyncRequest(paramFor("http://a/").get(), error.get(), false), KBL::resultFailed);
  network.open("/");
  request->clearAsyncRequest();

  EXPECT_EQ(request->isAsyncRequestFinished(), 1);
  EXPECT_EQ(network.exchanges().size(), 1U);
}

TEST(BaseRequestRun, AbortStopsFurtherTriesAndANewRunClearsIt) {
  RefPtr<Request> request = makeRef<Request>();
  std::atomic<bool> aborts{true};
  const ScriptedNetwork network([&](const SentExchange&) {
    if (aborts) request->abordAsyncRequest();
    return httpReply(503);
  });
  request->SetRetryTimes(2);
  const auto error = makeRef<BsErrorInfo>();

  request->asyncRequest(paramFor("http://a/").get(), error.get(), false);
  request->clearAsyncRequest();
  EXPECT_EQ(network.exchanges().size(), 1U);
  aborts = false;
  request->asyncRequest(paramFor("http://a/").get(), error.get(), false);
  request->clearAsyncRequest();

  EXPECT_GT(network.exchanges().size(), 2U);
}

TEST(BaseRequestRun, WorkerMayHoldTheLastReference) {
  ScriptedNetwork network(okReply());
  network.hold("/");
  const int before = Request::alive;
  {
    const auto request = makeRef<Request>();
    request->asyncRequest(paramFor("http://a/").get(), makeRef<BsErrorInfo>().get(), false);
  }
  EXPECT_EQ(Request::alive, before + 1);

  network.open("/");

  EXPECT_TRUE(waitUntil([&] { return Request::alive == before; }));
}

TEST(BaseRequestRun, CallbackOnTheWorkerMayClearTheRunAndStartTheNext) {
  const ScriptedNetwork network(okReply());
  const auto request = makeRef<Request>();
  const auto error = makeRef<BsErrorInfo>();
  std::atomic<int> started{0};
  RequestListener listener([&](auto...) {
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
  const auto request = makeRef<Request>();
  request->asyncThread = Request::startThread([] { throw std::runtime_error("work"); });
  ASSERT_NE(request->asyncThread, nullptr);

  EXPECT_EQ(request->clearAsyncRequest(), KBL::resultOk);
}

}  // namespace
