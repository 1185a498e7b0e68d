// One attempt of a request against a network that answers what the test says.
#include "boundary/records/Records.h"
#include "foundation/BsCloudConfig/BsCloudConfig.h"
#include "foundation/BsNet/NetKeys.h"
#include "requests/ProbeRequest.h"
#include "requests/RequestsTest.h"

#include <gmock/gmock.h>

#include <functional>

using namespace KBL;

namespace {

/// Fails in `Request` without an exchange.
class FailingRequest : public ProbeRequest {
 public:
  explicit FailingRequest(NetReply reply) : reply_(std::move(reply)) {}
  _Result Request(IBsInfoReader*, INetworkClient*, NetReply* reply) override {
    errorInfo()->setError(-10025, "set by Request");
    *reply = reply_;
    return resultFailed;
  }

 private:
  NetReply reply_;
};

/// Changes the error in a hook, as a foundation's own hook may.
class HookedRequest : public ProbeRequest {
 public:
  int hookNetError(IBsInfoReader* info, IBsErrorInfo* error, NetReply* reply) override {
    order += "net ";
    seenByHook = errorText(*error);
    const int result = ProbeRequest::hookNetError(info, error, reply);
    error->setError(1, "changed by the hook");
    return result;
  }
  int hookRequestInfo(IBsInfoReader* info, IBsErrorInfo* error, NetReply* reply) override {
    order += "info";
    return ProbeRequest::hookRequestInfo(info, error, reply);
  }

  std::string order;
  std::string seenByHook;
};

class RequestExchange : public RequestsTest {
 protected:
  void SetUp() override {
    RequestsTest::SetUp();
    info = makeRef<BsExternlMediaAuthMixedInfo>();
    request = makeRequest<ProbeRequest>();
  }
  void TearDown() override {
    request.reset();
    RequestsTest::TearDown();
  }
  void exchange() { request->syncRequestWithInfo(info.get()); }
  void exchange(const NetReply& reply) {
    network.answer(reply);
    exchange();
  }

  RefPtr<BsExternlMediaAuthMixedInfo> info;
  RefPtr<ProbeRequest> request;
};

}  // namespace

TEST_F(RequestExchange, AGoodAnswerIsPublished) {
  const std::string body = R"({"code":0,"data":{}})";
  exchange(okReply(body));

  EXPECT_EQ(errorText(*request), "0, ");
  EXPECT_EQ(request->published, 1);
  EXPECT_EQ(request->replyInfo()->infoType(), infoTypeMixed);
  EXPECT_EQ(textIn(*info, ResponseCharKey::content), body);
  EXPECT_TRUE(log->hasLine("base syncRequestWithInfo:Probe"));
  EXPECT_TRUE(log->hasLine("Probe:" + urlOf("testKey")));
  EXPECT_TRUE(log->hasLine("Probe, success code:0,msg:,content:" + body));
}

TEST_F(RequestExchange, ItsLinesNameTheirFunctions) {
  exchange(okReply(R"({"code":0})"));

  EXPECT_EQ(log->linesWith("base syncRequestWithInfo:")[0].function,
            "KBL::BsExternlMediaAuthRequest::syncRequestWithInfo");
  EXPECT_EQ(log->linesWith("Probe:http")[0].function, "KBL::BsExternlMediaAuthRequest::Request");
  EXPECT_EQ(log->linesWith("success code")[0].function, "KBL::BsExternlMediaAuthRequest::checkResponseValid");
  EXPECT_EQ(log->linesWith("success code")[0].severity, 4);
}

TEST_F(RequestExchange, TheClientGetsHeadersTimeoutMethodAndUrl) {
  exchange();

  const FakeExchange sent = network.onlyExchange();
  EXPECT_EQ(sent.headers, request->headers());
  EXPECT_EQ(sent.totalTimeoutMs, 30000);
  EXPECT_EQ(sent.method, httpPost);
  EXPECT_EQ(sent.url, urlOf("testKey"));
  EXPECT_FALSE(sent.proxy.has_value());
}

TEST_F(RequestExchange, EachMethodIsPassedOn) {
  for (const int method : {0, 1, 2}) {
    request->setMethod(method);
    exchange();
    EXPECT_EQ(network.exchanges().back().method, method);
  }
}

TEST_F(RequestExchange, OneClientIsMadeAndDeletedForEachAttempt) {
  exchange();
  exchange();
  EXPECT_EQ(network.clientsMade(), 2);
  EXPECT_EQ(network.clientsAlive(), 0);
}

TEST_F(RequestExchange, NoTimeoutGives30000) {
  for (const int timeout : {0, -5}) {
    request->setTimeout(timeout);
    exchange();
    EXPECT_EQ(network.exchanges().back().totalTimeoutMs, 30000);
  }
  request->setTimeout(1);
  exchange();
  EXPECT_EQ(network.exchanges().back().totalTimeoutMs, 1);
}

TEST_F(RequestExchange, AnEmptyUrlMakesNoClient) {
  request->setUrlKey("keyThatNobodyConfigured");
  exchange();

  EXPECT_EQ(errorText(*request), "-10001, url invalid");
  EXPECT_EQ(network.clientsMade(), 0);
}

TEST_F(RequestExchange, WithoutConfigurationThereIsNoUrl) {
  clearCloudConfig();
  exchange();
  EXPECT_EQ(errorText(*request), "-10001, url invalid");
}

TEST_F(RequestExchange, NoNetworkClientIsReported) {
  network.refuseClients();
  exchange();
  EXPECT_EQ(errorText(*request), "-10004, create network request failed");
}

TEST_F(RequestExchange, AFormerErrorIsClearedFirst) {
  exchange(transportFailure(7, "refused"));
  exchange(okReply(R"({"code":0})"));

  EXPECT_EQ(errorText(*request), "0, ");
  EXPECT_EQ(request->errorInfo()->originCode(), 0);
}

TEST_F(RequestExchange, ATransportFailureHasItsMappedAndItsRawCode) {
  exchange(transportFailure(7, "connection refused"));

  EXPECT_EQ(errorText(*request), "200007, connection refused");
  EXPECT_EQ(request->errorInfo()->originCode(), 7);
  EXPECT_EQ(request->published, 0);
  EXPECT_EQ(info->charKeyConfig(ResponseCharKey::content), nullptr);
}

TEST_F(RequestExchange, AFailureWritesTheUrlIntoTheInfoAndTheLog) {
  exchange(transportFailure(28, "too slow"));

  EXPECT_EQ(textIn(*info, RequestParamCharKey::url), urlOf("testKey"));
  const std::vector<LogLine> lines = log->linesWith("network originCode");
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_EQ(lines[0].text, "Probe:network originCode:200028, msg:too slow");
  EXPECT_EQ(lines[0].severity, 2);
  EXPECT_EQ(lines[0].function, "KBL::BsExternlMediaAuthRequest::hookNetError");
}

TEST_F(RequestExchange, AFailureIsReportedAgainAfterTheHooks) {
  const auto hooked = makeRequest<HookedRequest>();
  network.answer(transportFailure(7, "refused"));
  hooked->syncRequestWithInfo(info.get());

  EXPECT_EQ(hooked->order, "net info");
  EXPECT_EQ(hooked->seenByHook, "200007, refused");
  EXPECT_EQ(errorText(*hooked), "200007, refused");
}

TEST_F(RequestExchange, AFailingRequestWithStatus200LeavesTheErrorAsItIs) {
  const auto failing = makeRequest<FailingRequest>(httpReply(200, "body"));
  failing->syncRequestWithInfo(info.get());
  EXPECT_EQ(errorText(*failing), "-10025, set by Request");
}

TEST_F(RequestExchange, AFailingRequestWithAnotherStatusReportsStatusAndBody) {
  const auto failing = makeRequest<FailingRequest>(httpReply(302, "elsewhere"));
  failing->syncRequestWithInfo(info.get());
  EXPECT_EQ(errorText(*failing), "302, elsewhere");
}

TEST_F(RequestExchange, AFailingRequestWithACodeReportsThatCode) {
  const auto failing = makeRequest<FailingRequest>(transportFailure(-10002, "param invalid"));
  failing->syncRequestWithInfo(info.get());
  EXPECT_EQ(errorText(*failing), "-10002, param invalid");
}

TEST_F(RequestExchange, AnExceptionInTheExchangeBecomesAnError) {
  network.answer([](const FakeExchange&) -> NetReply { throw std::bad_alloc(); });
  exchange();
  EXPECT_EQ(errorText(*request), "-10004, create network request failed");
  EXPECT_EQ(network.clientsAlive(), 0);
}

TEST_F(RequestExchange, WorksWithoutAnInfo) {
  network.answer(transportFailure(7, "refused"));
  request->syncRequestWithInfo(nullptr);
  EXPECT_EQ(errorText(*request), "200007, refused");

  network.answer(okReply(R"({"code":0})"));
  request->syncRequestWithInfo(nullptr);
  EXPECT_EQ(request->published, 1);
}

// --- The envelope and the status

TEST_F(RequestExchange, ABodyThatIsNoJsonIsRefusedAndNotPublished) {
  exchange(okReply("<html>"));

  EXPECT_EQ(errorText(*request), "-10000, can't read json. response:<html>");
  EXPECT_EQ(request->published, 0);
  EXPECT_TRUE(
      log->hasLine("Probe, error code:-10000,msg:can't read json. response:<html>,content:<html>, url: " +
                   urlOf("testKey")));
}

TEST_F(RequestExchange, JsonWithoutCodeIsRefused) {
  for (const std::string body : {R"({})", R"({"msg":"x"})", R"({"code":null})", R"([])", R"("text")", "7",
                                 R"({"code":"0"})", R"({"code":{}})", R"({"code":99999999999})"}) {
    exchange(okReply(body));
    EXPECT_EQ(errorText(*request), "-10000, can't read json.") << body;
  }
  EXPECT_EQ(request->published, 0);
}

TEST_F(RequestExchange, AServersCodeIsKeptAndHandleRequestDataStillRuns) {
  const std::string body = R"({"code":7,"msg":"x"})";
  exchange(okReply(body));

  EXPECT_EQ(errorText(*request), "7, x");
  EXPECT_EQ(request->published, 1);
  EXPECT_TRUE(log->hasLine("Probe, error code:7,msg:x,content:" + body + ", url: " + urlOf("testKey")));
}

TEST_F(RequestExchange, AServersCodeWithoutAMessageHasAnEmptyOne) {
  exchange(okReply(R"({"code":7,"msg":{"no":"text"}})"));
  EXPECT_EQ(errorText(*request), "7, ");
}

TEST_F(RequestExchange, NestingAThousandsDeepAndHugeNumbersAreNoJson) {
  for (const std::string& body :
       {std::string(5000, '['), std::string("{\"code\":1e999}"), std::string(100000, '{')}) {
    exchange(okReply(body));
    EXPECT_EQ(request->errorInfo()->errorCode(), -10000);
  }
}

TEST_F(RequestExchange, Status500WithAnUnusableBodyReadsAs500AndTheBody) {
  for (const std::string body : {"", "oops", R"({"half":)", R"([1])", R"({"code":"0"})"}) {
    exchange(httpReply(500, body));
    EXPECT_EQ(errorText(*request), "500, " + body);
  }
  EXPECT_EQ(request->published, 0);
}

TEST_F(RequestExchange, Status500WithAGoodEnvelopeIsAFailureAllTheSame) {
  const std::string body = R"({"code":0,"data":{}})";
  exchange(httpReply(500, body));

  EXPECT_EQ(errorText(*request), "500, " + body);
  EXPECT_EQ(request->published, 0);
  EXPECT_EQ(textIn(*info, RequestParamCharKey::url), urlOf("testKey"));
  EXPECT_EQ(log->linesWith("network originCode:500").size(), 1U);
}

TEST_F(RequestExchange, AFailureStatusKeepsTheServersOwnError) {
  exchange(httpReply(403, R"({"code":231500,"msg":"quota"})"));

  EXPECT_EQ(errorText(*request), "231500, quota");
  EXPECT_EQ(request->published, 1);
  EXPECT_TRUE(log->linesWith("network originCode").empty());
}

TEST_F(RequestExchange, AStatusBelow400IsNoFailureByItself) {
  for (const int status : {201, 204, 308, 399}) {
    exchange(httpReply(status, R"({"code":0})"));
    EXPECT_EQ(errorText(*request), "0, ") << status;
  }
  EXPECT_EQ(request->published, 4);
}

TEST_F(RequestExchange, AStatusBelow400WithAnUnusableBodyReadsAsSuch) {
  exchange(httpReply(308, ""));
  EXPECT_EQ(errorText(*request), "-10000, can't read json. response:");
}

TEST_F(RequestExchange, Status400IsTheFirstFailure) {
  exchange(httpReply(400, "bad"));
  EXPECT_EQ(errorText(*request), "400, bad");
}

// --- The proxy

TEST_F(RequestExchange, AProxyIsGivenToTheClientAndLogged) {
  request->setServerProxy(proxyRecord().get());
  exchange();

  const auto proxy = network.onlyExchange().proxy;
  ASSERT_TRUE(proxy.has_value());
  EXPECT_EQ(proxy->type, 3);
  EXPECT_EQ(proxy->server, "proxy.test");
  EXPECT_EQ(proxy->port, 1080);
  EXPECT_EQ(proxy->user, "me");
  EXPECT_EQ(proxy->password, "pw");
  EXPECT_TRUE(log->hasLine("Probe, setProxy:Socks5,server:proxy.test,port:1080"));
  EXPECT_EQ(log->linesWith("setProxy")[0].function, "KBL::BsExternlMediaAuthRequest::syncRequestWithInfo");
}

TEST_F(RequestExchange, EmptyUserAndPasswordAreGood) {
  const auto proxy = proxyRecord();
  proxy->setCharKeyConfig(ServerProxyCharKey::user, "");
  proxy->setCharKeyConfig(ServerProxyCharKey::password, "");
  request->setServerProxy(proxy.get());
  exchange();
  EXPECT_TRUE(network.onlyExchange().proxy.has_value());
}

TEST_F(RequestExchange, AModeOtherThan1UsesTheProxy) {
  const auto proxy = proxyRecord();
  proxy->setIntKeyConfig(ServerProxyIntKey::mode, 2);
  request->setServerProxy(proxy.get());
  exchange();
  EXPECT_TRUE(network.onlyExchange().proxy.has_value());
}

TEST_F(RequestExchange, AnUnusableProxyRecordIsIgnored) {
  using Spoil = std::function<void(IBsServerProxyInfo&)>;
  const std::pair<const char*, Spoil> cases[] = {
      {"mode 1", [](auto& proxy) { proxy.setIntKeyConfig(ServerProxyIntKey::mode, 1); }},
      {"mode 1 beside other good values",
       [](auto& proxy) {
         proxy.setIntKeyConfig(ServerProxyIntKey::mode, 1);
         proxy.setIntKeyConfig(ServerProxyIntKey::type, 1);
         proxy.setIntKeyConfig(ServerProxyIntKey::port, 65535);
         proxy.setCharKeyConfig(ServerProxyCharKey::server, "127.0.0.1");
         proxy.setCharKeyConfig(ServerProxyCharKey::user, "");
         proxy.setCharKeyConfig(ServerProxyCharKey::password, "");
       }},
      {"type 0", [](auto& proxy) { proxy.setIntKeyConfig(ServerProxyIntKey::type, 0); }},
      {"type -1", [](auto& proxy) { proxy.setIntKeyConfig(ServerProxyIntKey::type, -1); }},
      {"port 0", [](auto& proxy) { proxy.setIntKeyConfig(ServerProxyIntKey::port, 0); }},
      {"port 65536", [](auto& proxy) { proxy.setIntKeyConfig(ServerProxyIntKey::port, 65536); }},
  };
  for (const auto& [what, spoil] : cases) {
    const auto proxy = proxyRecord();
    spoil(*proxy);
    request->setServerProxy(proxy.get());
    exchange();
    EXPECT_FALSE(network.exchanges().back().proxy.has_value()) << what;
  }
}

TEST_F(RequestExchange, AProxyRecordThatLacksAKeyIsIgnored) {
  const char* const texts[] = {ServerProxyCharKey::server, ServerProxyCharKey::user,
                               ServerProxyCharKey::password};
  const char* const numbers[] = {ServerProxyIntKey::type, ServerProxyIntKey::port};
  const auto complete = proxyRecord();
  const auto expectIgnoredWithout = [&](const char* left) {
    const auto proxy = proxyRecord();
    auto* const record = static_cast<BsBaseInfoRW*>(proxy->QueryInterfaceByName("BsBaseInfoRW"));
    record->reset();
    for (const char* const key : texts) {
      if (key != left) proxy->setCharKeyConfig(key, complete->charKeyConfig(key));
    }
    for (const char* const key : numbers) {
      if (key != left) proxy->setIntKeyConfig(key, complete->intKeyConfig(key));
    }
    request->setServerProxy(proxy.get());
    exchange();
    EXPECT_FALSE(network.exchanges().back().proxy.has_value()) << left;
  };
  for (const char* const key : texts) expectIgnoredWithout(key);
  for (const char* const key : numbers) expectIgnoredWithout(key);
}
