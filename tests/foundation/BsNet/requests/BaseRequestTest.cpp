// The settings of a request and the list of its callbacks.
#include "foundation/BsNet/requests/BaseRequestFixture.h"
#include "support/RecordingLogger.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

using KBL::BsErrorInfo;
using KBL::KblBaseRequest;
using KBL::makeRef;

namespace {

TEST(BaseRequest, SettingsAreKept) {
  const auto request = makeRef<Request>();
  const auto proxy = proxyRecord(0, 1, "p", 1);
  request->setRequestName("name");
  request->setTimeout(5);
  request->setConnectTimeout(6);
  request->setServerProxy(proxy.get());

  EXPECT_STREQ(request->getRequestName(), "name");
  EXPECT_EQ(request->getTimeout(), 5);
  EXPECT_EQ(request->getConnectTimeout(), 6);
  EXPECT_EQ(request->getServerProxy(), proxy.get());
  EXPECT_EQ(request->setPubParam(nullptr), KBL::resultFailed);
  EXPECT_EQ(request->getPubParam(), nullptr);
  EXPECT_EQ(request->setRequestName(nullptr), KBL::resultFailed);
  request->setServerProxy(nullptr);
  EXPECT_EQ(request->getServerProxy(), nullptr);
}

TEST(BaseRequest, CastsByName) {
  const auto request = makeRef<Request>();

  EXPECT_EQ(request->QueryInterfaceByName("IBsBaseRequest"),
            static_cast<KBL::IBsBaseRequest*>(request.get()));
  EXPECT_EQ(request->QueryInterfaceByName("IBsRequstCallback"),
            static_cast<KBL::IBsRequstCallback*>(request.get()));
  EXPECT_EQ(request->QueryInterfaceByName("KblBaseRequest"), nullptr);
}

TEST(BaseRequest, CallbacksAreCalledInOrderOnceEach) {
  const auto request = makeRef<Request>();
  std::string order;
  RequestListener a([&](auto...) { order += 'a'; });
  RequestListener b([&](auto...) { order += 'b'; });
  RequestListener c([&](auto...) { order += 'c'; });
  request->addCallback(&a, false);
  request->addCallback(&b, false);
  request->addCallback(&c, true);
  request->addCallback(&a, false);
  EXPECT_EQ(request->addCallback(nullptr, false), KBL::resultFailed);

  request->_callback(nullptr, nullptr, false);
  request->_callback(nullptr, nullptr, true);

  EXPECT_EQ(order, "cabbac");
  EXPECT_EQ(a.lastRequest, static_cast<KBL::IBsBaseRequest*>(request.get()));
}

TEST(BaseRequest, CallbackMayEditTheListWhileItRuns) {
  const auto request = makeRef<Request>();
  RequestListener removed;
  RequestListener added;
  RequestListener editor([&](auto...) {
    request->removeCallback(&removed);
    request->addCallback(&added, false);
  });
  request->addCallback(&editor, false);
  request->addCallback(&removed, false);

  request->_callback(nullptr, nullptr, false);

  EXPECT_EQ(removed.calls, 0);
  EXPECT_EQ(request->callbacks().size(), 2U);
  request->clearCallbacks();
  EXPECT_TRUE(request->callbacks().empty());
}

TEST(BaseRequest, CallbackThatThrowsKeepsNobodyFromHearing) {
  const auto request = makeRef<Request>();
  RequestListener thrower([](auto...) { throw std::runtime_error("host"); });
  RequestListener other;
  request->addCallback(&thrower, false);
  request->addCallback(&other, false);

  const ScopedRecordingLogger log;
  request->setRequestName("Probe");

  request->_callback(nullptr, nullptr, false);

  EXPECT_EQ(other.calls, 1);
  ASSERT_EQ(log->lines().size(), 1U);
  EXPECT_EQ(log->lines()[0].text, "Probe, a callback threw");
  EXPECT_EQ(log->lines()[0].severity, 2);
}

TEST(BaseRequest, HookRemembersNothing) {
  EXPECT_EQ(KblBaseRequest::hookCallback(nullptr, nullptr, nullptr), KBL::resultOk);
}

TEST(BaseRequest, MissingArgumentsAreRefused) {
  const auto request = makeRef<Request>();
  const auto param = paramFor("http://a/");
  BsErrorInfo error;

  EXPECT_EQ(request->syncRequest(nullptr, &error), KBL::resultFailed);
  EXPECT_EQ(request->syncRequest(param.get(), nullptr), KBL::resultFailed);
  EXPECT_EQ(request->asyncRequest(nullptr, &error, false), KBL::resultFailed);
}

}  // namespace
