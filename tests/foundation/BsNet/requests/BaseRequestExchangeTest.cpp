// One exchange of a request on the thread of its caller: what the client gets, and what becomes of its
// answer.
#include "foundation/BsNet/requests/BaseRequestFixture.h"
#include "support/TemporaryDirectory.h"
#include <BsNet/NetworkClients.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <stdexcept>
#include <string>

using KBL::BsErrorInfo;
using KBL::makeRef;
using KBL::RefPtr;

namespace {

TEST(BaseRequestExchange, UnusableAddressMakesNoClient) {
  const ScriptedNetwork network(okReply());
  const auto request = makeRef<Request>();
  BsErrorInfo error;

  EXPECT_EQ(request->syncRequest(paramFor("nowhere").get(), &error), KBL::resultFailed);

  EXPECT_EQ(error.errorCode(), -10001);
  EXPECT_STREQ(error.errorMessage(), "url invalid");
  EXPECT_TRUE(network.exchanges().empty());
}

TEST(BaseRequestExchange, MissingClientIsTold) {
  ScriptedNetwork network;
  network.refuseClients();
  const auto request = makeRef<Request>();
  BsErrorInfo error;

  request->syncRequest(paramFor("http://a/").get(), &error);

  EXPECT_EQ(error.errorCode(), -10004);
  EXPECT_STREQ(error.errorMessage(), "create network request failed");
}

TEST(BaseRequestExchange, FactoryIsNotCopiedForItsClients) {
  struct Counting {
    explicit Counting(std::atomic<int>& counter) : copies(&counter) {}
    Counting(const Counting& other) : copies(other.copies) { ++*copies; }
    Counting& operator=(const Counting&) = delete;
    KBL::INetworkClient* operator()() const { return nullptr; }
    std::atomic<int>* copies;
  };
  std::atomic<int> copies = 0;
  KBL::setNetworkClientFactory(Counting(copies));
  const int whenInstalled = copies;

  EXPECT_EQ(KBL::makeNetworkClient(), nullptr);
  EXPECT_EQ(KBL::makeNetworkClient(), nullptr);

  EXPECT_EQ(copies, whenInstalled);
  KBL::setNetworkClientFactory({});
}

TEST(BaseRequestExchange, FactoryThatThrowsGivesNoClient) {
  KBL::setNetworkClientFactory([]() -> KBL::INetworkClient* { throw std::runtime_error("host"); });

  EXPECT_EQ(KBL::makeNetworkClient(), nullptr);
  KBL::setNetworkClientFactory({});
}

TEST(BaseRequestExchange, GoodExchangeFillsTheReplyAndEndsTheClient) {
  const ScriptedNetwork network(okReply("content"));
  const auto request = makeRef<Request>();
  const auto param = paramFor("http://a/path");
  BsErrorInfo error;
  error.setError(5, "old");

  EXPECT_EQ(request->syncRequest(param.get(), &error), KBL::resultOk);

  EXPECT_STREQ(param->getResponseContent(), "content");
  EXPECT_EQ(error.errorCode(), 0);
  EXPECT_STREQ(error.errorMessage(), "");
  EXPECT_EQ(network.clientsAlive(), 0);
  ASSERT_EQ(network.exchanges().size(), 1U);
  EXPECT_EQ(network.exchanges()[0].url, "http://a/path");
  EXPECT_EQ(network.exchanges()[0].method, KBL::httpGet);
  EXPECT_EQ(network.exchanges()[0].totalTimeoutMs, 30000);
}

TEST(BaseRequestExchange, ParametersBecomeHeadersBodyAndBearer) {
  const ScriptedNetwork network(okReply());
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

  ASSERT_EQ(network.exchanges().size(), 1U);
  const SentExchange seen = network.exchanges()[0];
  EXPECT_EQ(seen.headers,
            (std::map<std::string, std::string>{
                {"Accept-Language", "fr"}, {"Content-Type", "application/json"}, {"X-One", "1"}}));
  EXPECT_EQ(seen.method, KBL::httpPost);
  EXPECT_EQ(seen.body, "{}");
  EXPECT_EQ(seen.bearer, "token");
  EXPECT_EQ(seen.connectTimeoutMs, 70);
  EXPECT_EQ(seen.lowSpeedBytes, 8);
  EXPECT_EQ(seen.lowSpeedSeconds, 9);
}

TEST(BaseRequestExchange, ProxyRecordIsUsedByItsRules) {
  const ScriptedNetwork network(okReply());
  BsErrorInfo error;
  const auto run = [&](const RefPtr<KBL::IBsServerProxyInfo>& proxy) {
    const auto request = makeRef<Request>();
    request->setServerProxy(proxy.get());
    request->syncRequest(paramFor("http://a/").get(), &error);
    const auto used = network.exchanges().back().proxy;
    return used ? used->type : 0;
  };

  EXPECT_EQ(run(proxyRecord(0, 1, "p", 8080)), 1);
  EXPECT_EQ(network.exchanges().back().proxy->server, "p");
  EXPECT_EQ(network.exchanges().back().proxy->port, 8080);
  EXPECT_EQ(run(proxyRecord(2, 3, "p", 65535)), 3);
  EXPECT_EQ(run(proxyRecord(1, 1, "p", 8080)), 0);
  EXPECT_EQ(run(proxyRecord(0, 0, "p", 8080)), 0);
  EXPECT_EQ(run(proxyRecord(0, 1, nullptr, 8080)), 0);
  EXPECT_EQ(run(proxyRecord(0, 1, "p", 0)), 0);
  EXPECT_EQ(run(proxyRecord(0, 1, "p", 65536)), 0);
  EXPECT_EQ(run(nullptr), 0);
}

TEST(BaseRequestExchange, NothingGoesAroundAProxyOfAnUnknownKind) {
  const ScriptedNetwork network(okReply());
  const auto request = makeRef<Request>();
  BsErrorInfo error;
  const auto other = KBL::adoptRef(createInfoObject(KBL::infoObjectServerProxy));
  auto* const bare = KBL::queryInterface<KBL::IBsServerProxyInfo>(other.get(), "IBsServerProxyInfo");
  bare->setIntKeyConfig(KBL::ServerProxyIntKey::port, 8080);
  for (const char* const key :
       {KBL::ServerProxyCharKey::server, KBL::ServerProxyCharKey::user, KBL::ServerProxyCharKey::password}) {
    bare->setCharKeyConfig(key, "p");
  }
  const auto unknown = proxyRecord(0, 4, "p", 8080);
  const auto wide = proxyRecord(0, 1, "p", 8080);
  wide->setIntKeyConfig(KBL::ServerProxyIntKey::type, 4294967297LL);

  for (KBL::IBsServerProxyInfo* const proxy : {unknown.get(), bare, wide.get()}) {
    request->setServerProxy(proxy);
    EXPECT_EQ(request->syncRequest(paramFor("http://a/").get(), &error), KBL::resultFailed);
    EXPECT_EQ(error.errorCode(), -10002);
    EXPECT_STREQ(error.errorMessage(), "param invalid");
    EXPECT_EQ(request->download("http://a/", "/nowhere/at/all", nullptr, nullptr), -10002);
  }
  EXPECT_TRUE(network.exchanges().empty());
}

TEST(BaseRequestExchange, FailedTransportIsMappedAndKeepsItsOrigin) {
  const ScriptedNetwork network(transportFailure(7, "transport failed"));
  const auto request = makeRef<Request>();
  BsErrorInfo error;

  EXPECT_EQ(request->syncRequest(paramFor("http://a/").get(), &error), KBL::resultFailed);

  EXPECT_EQ(error.errorCode(), 200007);
  EXPECT_EQ(error.originCode(), 7);
  EXPECT_STREQ(error.errorMessage(), "transport failed");
  EXPECT_EQ(network.exchanges().size(), 1U);
}

TEST(BaseRequestExchange, RetriesGrowTheTimeAndStopAtTheCount) {
  const ScriptedNetwork network(httpReply(503, "busy"));
  const auto request = makeRef<Request>();
  request->SetRetryTimes(2);
  request->setTimeout(10000);
  BsErrorInfo error;

  request->syncRequest(paramFor("http://a/").get(), &error);

  ASSERT_EQ(network.exchanges().size(), 3U);
  EXPECT_EQ(network.exchanges()[0].totalTimeoutMs, 10000);
  EXPECT_EQ(network.exchanges()[1].totalTimeoutMs, 20000);
  EXPECT_EQ(network.exchanges()[2].totalTimeoutMs, 30000);
  EXPECT_EQ(error.errorCode(), 503);
  EXPECT_STREQ(error.errorMessage(), "busy");
  EXPECT_EQ(request->getTimeout(), 10000);
}

TEST(BaseRequestExchange, StatusThatIsFinalIsNotRetried) {
  const ScriptedNetwork network(httpReply(404, "no"));
  const auto request = makeRef<Request>();
  request->SetRetryTimes(5);
  BsErrorInfo error;

  request->syncRequest(paramFor("http://a/").get(), &error);

  EXPECT_EQ(network.exchanges().size(), 1U);
  EXPECT_EQ(error.errorCode(), 404);
}

TEST(BaseRequestExchange, AbortedParametersStopTheExchange) {
  const auto param = paramFor("http://a/");
  bool wentOn = true;
  const ScriptedNetwork network([&](const SentExchange& sent) {
    param->abord(1);
    wentOn = sent.progress->onProgress(0, 0, 0, 0);
    return transportFailure(-10007, "transport failed");
  });
  const auto request = makeRef<Request>();
  BsErrorInfo error;

  request->syncRequest(param.get(), &error);

  EXPECT_FALSE(wentOn);
  EXPECT_EQ(error.errorCode(), -10007);
}

TEST(BaseRequestExchange, DownloadReplacesTheFileOnlyWhenComplete) {
  const TemporaryDirectory place;
  const std::string target = place.write("file", "old");
  KBL::NetReply reply = okReply();
  const ScriptedNetwork network([&](const SentExchange& sent) {
    sent.writer->onResponseData("new ", 4, nullptr);
    sent.writer->onResponseData("data", 4, nullptr);
    return reply;
  });
  const auto request = makeRef<Request>();
  const auto fetch = [&] { return request->download("http://a/", target.c_str(), nullptr, nullptr); };

  reply = transportFailure(18, "transport failed");
  EXPECT_EQ(fetch(), 200018);
  EXPECT_EQ(place.read("file"), "old");
  reply = httpReply(404);
  EXPECT_EQ(fetch(), 404);
  EXPECT_EQ(place.read("file"), "old");
  reply = okReply();
  EXPECT_EQ(fetch(), 0);
  EXPECT_EQ(place.read("file"), "new data");

  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(place.path()), {}), 1);
}

TEST(BaseRequestExchange, DownloadEndsAfter30SecondsWithoutAByteUnlessToldOtherwise) {
  const TemporaryDirectory place;
  const ScriptedNetwork network(okReply());
  const auto request = makeRef<Request>();
  const auto fetch = [&] {
    return request->download("http://a/", place.file("x").c_str(), nullptr, nullptr);
  };

  fetch();
  request->SetLowSpeed(8, 9);
  fetch();

  ASSERT_EQ(network.exchanges().size(), 2U);
  EXPECT_EQ(network.exchanges()[0].lowSpeedBytes, 1);
  EXPECT_EQ(network.exchanges()[0].lowSpeedSeconds, 30);
  EXPECT_EQ(network.exchanges()[1].lowSpeedBytes, 8);
  EXPECT_EQ(network.exchanges()[1].lowSpeedSeconds, 9);
}

TEST(BaseRequestExchange, DownloadTellsWhatIsWrongWithItsArguments) {
  const TemporaryDirectory place;
  const ScriptedNetwork network(okReply());
  const auto request = makeRef<Request>();

  EXPECT_EQ(request->download(nullptr, place.file("x").c_str(), nullptr, nullptr), -10001);
  EXPECT_EQ(request->download("http://a/", nullptr, nullptr, nullptr), -10002);
  EXPECT_EQ(request->download("http://a/", place.file("no/such/folder").c_str(), nullptr, nullptr), 200023);
  EXPECT_TRUE(network.exchanges().empty());
}

}  // namespace
