#include "foundation/BsNet/BsErrorInfo.h"
#include "foundation/BsNet/BsRequestParamReply.h"
#include "foundation/BsNet/KblBaseRequest.h"
#include "foundation/BsNet/NetKeys.h"
#include "foundation/BsNet/createInfoObject.h"
#include "foundation/bsnet/FakeNetworkClient.h"
#include "foundation/object/CastByName.h"
#include "support/TemporaryDirectory.h"
#include "support/WaitUntil.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <stdexcept>

using KBL::BsErrorInfo;
using KBL::BsRequestParamReply;
using KBL::KblBaseRequest;
using KBL::makeRef;
using KBL::RefPtr;

namespace {

class Request : public KblBaseRequest {
 public:
  Request() { ++alive; }
  ~Request() override { --alive; }
  using KblBaseRequest::_callback;
  using KblBaseRequest::asyncMutex;
  using KblBaseRequest::asyncThread;
  using KblBaseRequest::callbacks;
  using KblBaseRequest::startThread;
  static inline std::atomic<int> alive{0};
};

class Listener : public KBL::IBsRequstCallback {
 public:
  explicit Listener(std::function<void()> onCall = {}) : onCall_(std::move(onCall)) {}
  KBL::_Result queryResponse(KBL::IBsBaseRequest* request, KBL::IBsInfoReader* info,
                             KBL::IBsErrorInfo* error) override {
    lastRequest = request;
    lastInfo = info;
    lastCode = error != nullptr ? error->errorCode() : 0;
    if (onCall_) onCall_();
    ++calls;
    return KBL::resultOk;
  }
  std::atomic<int> calls{0};
  std::atomic<int> lastCode{0};
  KBL::IBsBaseRequest* lastRequest = nullptr;
  KBL::IBsInfoReader* lastInfo = nullptr;

 private:
  std::function<void()> onCall_;
};

RefPtr<BsRequestParamReply> paramFor(const char* url) {
  auto param = makeRef<BsRequestParamReply>();
  param->setCharKeyConfig(KBL::RequestParamCharKey::url, url);
  return param;
}

FakeNetwork::Answer always(const KBL::NetReply& reply) {
  return [reply](const SeenExchange&, KBL::IBsResponseWriteCallback*, KBL::IBsProgressCallback*) {
    return reply;
  };
}

RefPtr<KBL::IBsServerProxyInfo> proxyRecord(int mode, int type, const char* server, int port) {
  const auto reader = KBL::adoptRef(createInfoObject(KBL::infoObjectServerProxy));
  auto* const record = KBL::queryInterface<KBL::BsBaseInfoRW>(reader.get(), "BsBaseInfoRW");
  record->setIntKeyConfig(KBL::ServerProxyIntKey::mode, mode);
  record->setIntKeyConfig(KBL::ServerProxyIntKey::type, type);
  record->setIntKeyConfig(KBL::ServerProxyIntKey::port, port);
  if (server != nullptr) record->setCharKeyConfig(KBL::ServerProxyCharKey::server, server);
  record->setCharKeyConfig(KBL::ServerProxyCharKey::user, "");
  record->setCharKeyConfig(KBL::ServerProxyCharKey::password, "");
  return KBL::shareRef(KBL::queryInterface<KBL::IBsServerProxyInfo>(reader.get(), "IBsServerProxyInfo"));
}

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
  Listener a([&] { order += 'a'; });
  Listener b([&] { order += 'b'; });
  Listener c([&] { order += 'c'; });
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
  Listener removed;
  Listener added;
  Listener editor([&] {
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
  Listener thrower([] { throw std::runtime_error("host"); });
  Listener other;
  request->addCallback(&thrower, false);
  request->addCallback(&other, false);

  request->_callback(nullptr, nullptr, false);

  EXPECT_EQ(other.calls, 1);
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

TEST(BaseRequest, UnusableAddressMakesNoClient) {
  const FakeNetwork network(always(FakeNetwork::status(200)));
  const auto request = makeRef<Request>();
  BsErrorInfo error;

  EXPECT_EQ(request->syncRequest(paramFor("nowhere").get(), &error), KBL::resultFailed);

  EXPECT_EQ(error.errorCode(), -10001);
  EXPECT_STREQ(error.errorMessage(), "url invalid");
  EXPECT_TRUE(network.seen().empty());
}

TEST(BaseRequest, MissingClientIsTold) {
  KBL::setNetworkClientFactory([]() -> KBL::INetworkClient* { return nullptr; });
  const auto request = makeRef<Request>();
  BsErrorInfo error;

  request->syncRequest(paramFor("http://a/").get(), &error);
  KBL::setNetworkClientFactory({});

  EXPECT_EQ(error.errorCode(), -10004);
  EXPECT_STREQ(error.errorMessage(), "create network request failed");
}

TEST(BaseRequest, FactoryThatThrowsGivesNoClient) {
  KBL::setNetworkClientFactory([]() -> KBL::INetworkClient* { throw std::runtime_error("host"); });

  EXPECT_EQ(KBL::makeNetworkClient(), nullptr);
  KBL::setNetworkClientFactory({});
}

TEST(BaseRequest, GoodExchangeFillsTheReplyAndEndsTheClient) {
  const FakeNetwork network(always(FakeNetwork::status(200, "content")));
  const auto request = makeRef<Request>();
  const auto param = paramFor("http://a/path");
  BsErrorInfo error;
  error.setError(5, "old");

  EXPECT_EQ(request->syncRequest(param.get(), &error), KBL::resultOk);

  EXPECT_STREQ(param->getResponseContent(), "content");
  EXPECT_EQ(error.errorCode(), 0);
  EXPECT_STREQ(error.errorMessage(), "");
  EXPECT_EQ(network.clientsAlive(), 0);
  ASSERT_EQ(network.seen().size(), 1U);
  EXPECT_EQ(network.seen()[0].url, "http://a/path");
  EXPECT_EQ(network.seen()[0].method, KBL::httpGet);
  EXPECT_EQ(network.seen()[0].totalTimeout, 30000);
}

TEST(BaseRequest, ParametersBecomeHeadersBodyAndBearer) {
  const FakeNetwork network(always(FakeNetwork::status(200)));
  const auto request = makeRef<Request>();
  const auto pubInfo = KBL::adoptRef(createInfoObject(KBL::infoObjectPubInfo));
  auto* const pub = KBL::queryInterface<KBL::BsBaseInfoRW>(pubInfo.get(), "BsBaseInfoRW");
  pub->setCharKeyConfig(KBL::PubCharKey::lang, "de");
  pub->setCharKeyConfig(KBL::PubCharKey::appSecret, "secret");
  request->setPubParam(KBL::queryInterface<KBL::IBsPubInfo>(pubInfo.get(), "IBsPubInfo"));
  request->setBearer("token");
  request->setConnectTimeout(70);
  request->SetLowSpeed(8, 9);
  const auto param = paramFor("http://a/");
  param->setCharKeyConfig(KBL::RequestParamCharKey::body, "{}");
  param->setIntKeyConfig(KBL::RequestParamIntKey::bodyType, KBL::bodyJson);
  param->setCharKeyConfig(KBL::RequestParamCharKey::heads,
                          "X-One: 1\r\nno colon\n accept-language : fr \n: none");
  BsErrorInfo error;

  request->syncRequest(param.get(), &error);

  ASSERT_EQ(network.seen().size(), 1U);
  const SeenExchange seen = network.seen()[0];
  EXPECT_EQ(seen.headers,
            (std::map<std::string, std::string>{
                {"Accept-Language", "fr"}, {"Content-Type", "application/json"}, {"X-One", "1"}}));
  EXPECT_EQ(seen.method, KBL::httpPost);
  EXPECT_EQ(seen.body, "{}");
  EXPECT_EQ(seen.bearer, "token");
  EXPECT_EQ(seen.connectTimeout, 70);
  EXPECT_EQ(seen.lowSpeedBytes, 8);
}

TEST(BaseRequest, ProxyRecordIsUsedByItsRules) {
  const FakeNetwork network(always(FakeNetwork::status(200)));
  BsErrorInfo error;
  const auto run = [&](const RefPtr<KBL::IBsServerProxyInfo>& proxy) {
    const auto request = makeRef<Request>();
    request->setServerProxy(proxy.get());
    request->syncRequest(paramFor("http://a/").get(), &error);
    return network.seen().back().proxyType;
  };

  EXPECT_EQ(run(proxyRecord(0, 1, "p", 8080)), 1);
  EXPECT_EQ(network.seen().back().proxyServer, "p");
  EXPECT_EQ(network.seen().back().proxyPort, 8080);
  EXPECT_EQ(run(proxyRecord(2, 3, "p", 65535)), 3);
  EXPECT_EQ(run(proxyRecord(1, 1, "p", 8080)), 0);
  EXPECT_EQ(run(proxyRecord(0, 0, "p", 8080)), 0);
  EXPECT_EQ(run(proxyRecord(0, 4, "p", 8080)), 0);
  EXPECT_EQ(run(proxyRecord(0, 1, nullptr, 8080)), 0);
  EXPECT_EQ(run(proxyRecord(0, 1, "p", 0)), 0);
  EXPECT_EQ(run(proxyRecord(0, 1, "p", 65536)), 0);
  EXPECT_EQ(run(nullptr), 0);
}

TEST(BaseRequest, FailedTransportIsMappedAndKeepsItsOrigin) {
  const FakeNetwork network(always(FakeNetwork::failure(7)));
  const auto request = makeRef<Request>();
  BsErrorInfo error;

  EXPECT_EQ(request->syncRequest(paramFor("http://a/").get(), &error), KBL::resultFailed);

  EXPECT_EQ(error.errorCode(), 200007);
  EXPECT_EQ(error.originCode(), 7);
  EXPECT_STREQ(error.errorMessage(), "transport failed");
  EXPECT_EQ(network.seen().size(), 1U);
}

TEST(BaseRequest, RetriesGrowTheTimeAndStopAtTheCount) {
  const FakeNetwork network(always(FakeNetwork::status(503, "busy")));
  const auto request = makeRef<Request>();
  request->SetRetryTimes(2);
  request->setTimeout(10000);
  BsErrorInfo error;

  request->syncRequest(paramFor("http://a/").get(), &error);

  ASSERT_EQ(network.seen().size(), 3U);
  EXPECT_EQ(network.seen()[0].totalTimeout, 10000);
  EXPECT_EQ(network.seen()[1].totalTimeout, 20000);
  EXPECT_EQ(network.seen()[2].totalTimeout, 30000);
  EXPECT_EQ(error.errorCode(), 503);
  EXPECT_STREQ(error.errorMessage(), "busy");
  EXPECT_EQ(request->getTimeout(), 10000);
}

TEST(BaseRequest, StatusThatIsFinalIsNotRetried) {
  const FakeNetwork network(always(FakeNetwork::status(404, "no")));
  const auto request = makeRef<Request>();
  request->SetRetryTimes(5);
  BsErrorInfo error;

  request->syncRequest(paramFor("http://a/").get(), &error);

  EXPECT_EQ(network.seen().size(), 1U);
  EXPECT_EQ(error.errorCode(), 404);
}

TEST(BaseRequest, AbortedParametersStopTheExchange) {
  const auto param = paramFor("http://a/");
  bool wentOn = true;
  const FakeNetwork network(
      [&](const SeenExchange&, KBL::IBsResponseWriteCallback*, KBL::IBsProgressCallback* progress) {
        param->abord(1);
        wentOn = progress->onProgress(0, 0, 0, 0);
        return FakeNetwork::failure(-10007);
      });
  const auto request = makeRef<Request>();
  BsErrorInfo error;

  request->syncRequest(param.get(), &error);

  EXPECT_FALSE(wentOn);
  EXPECT_EQ(error.errorCode(), -10007);
}

TEST(BaseRequest, AsynchronousRunTellsTheCallbacksAndGivesItsReferencesBack) {
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
  EXPECT_EQ(request->AddRef(), 2);
  request->Release();
  EXPECT_EQ(param->AddRef(), 2);
  param->Release();
}

TEST(BaseRequest, SecondRunDuringARunIsRefused) {
  std::promise<void> mayEnd;
  const auto end = mayEnd.get_future().share();
  const FakeNetwork network(
      [end](const SeenExchange&, KBL::IBsResponseWriteCallback*, KBL::IBsProgressCallback*) {
        end.wait();
        return FakeNetwork::status(200);
      });
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

TEST(BaseRequest, AbortStopsFurtherTriesAndANewRunClearsIt) {
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

TEST(BaseRequest, WorkerMayHoldTheLastReference) {
  std::promise<void> mayEnd;
  const auto end = mayEnd.get_future().share();
  const FakeNetwork network(
      [end](const SeenExchange&, KBL::IBsResponseWriteCallback*, KBL::IBsProgressCallback*) {
        end.wait();
        return FakeNetwork::status(200);
      });
  const int before = Request::alive;
  {
    const auto request = makeRef<Request>();
    request->asyncRequest(paramFor("http://a/").get(), makeRef<BsErrorInfo>().get(), false);
  }
  EXPECT_EQ(Request::alive, before + 1);

  mayEnd.set_value();

  EXPECT_TRUE(waitUntil([&] { return Request::alive == before; }));
}

TEST(BaseRequest, CallbackOnTheWorkerMayClearTheRunAndStartTheNext) {
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

TEST(BaseRequest, DroppedThreadHandleNeitherWaitsNorEndsTheProcess) {
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

TEST(BaseRequest, WorkThatThrowsEndsItsThreadAlone) {
  const auto handle = Request::startThread([] { throw std::runtime_error("work"); });
  ASSERT_NE(handle, nullptr);

  handle->join();
}

TEST(BaseRequest, DownloadReplacesTheFileOnlyWhenComplete) {
  const TemporaryDirectory place;
  const std::string target = place.write("file", "old");
  KBL::NetReply reply = FakeNetwork::status(200);
  const FakeNetwork network(
      [&](const SeenExchange&, KBL::IBsResponseWriteCallback* writer, KBL::IBsProgressCallback*) {
        writer->onResponseData("new ", 4, nullptr);
        writer->onResponseData("data", 4, nullptr);
        return reply;
      });
  const auto request = makeRef<Request>();
  const auto fetch = [&] { return request->download("http://a/", target.c_str(), nullptr, nullptr); };

  reply = FakeNetwork::failure(18);
  EXPECT_EQ(fetch(), 200018);
  EXPECT_EQ(place.read("file"), "old");
  reply = FakeNetwork::status(404);
  EXPECT_EQ(fetch(), 404);
  EXPECT_EQ(place.read("file"), "old");
  reply = FakeNetwork::status(200);
  EXPECT_EQ(fetch(), 0);
  EXPECT_EQ(place.read("file"), "new data");

  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(place.path()), {}), 1);
}

TEST(BaseRequest, DownloadTellsWhatIsWrongWithItsArguments) {
  const TemporaryDirectory place;
  const FakeNetwork network(always(FakeNetwork::status(200)));
  const auto request = makeRef<Request>();

  EXPECT_EQ(request->download(nullptr, place.file("x").c_str(), nullptr, nullptr), -10001);
  EXPECT_EQ(request->download("http://a/", nullptr, nullptr, nullptr), -10002);
  EXPECT_EQ(request->download("http://a/", place.file("no/such/folder").c_str(), nullptr, nullptr), 200023);
  EXPECT_TRUE(network.seen().empty());
}

}  // namespace
