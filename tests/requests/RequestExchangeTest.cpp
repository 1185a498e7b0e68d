// One attempt of a request against a network that answers what the test says.
#include "requests/RequestExchangeFixture.h"
#include "support/ThrowingLogger.h"
#include <BsCloudConfig/BsCloudConfig.h>
#include <BsNet/NetKeys.h>

#include <gtest/gtest.h>

#include <new>

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
    const int result = ProbeRequest::hookRequestInfo(info, error, reply);
    error->setError(2, "changed by the other hook");
    return result;
  }

  std::string order;
  std::string seenByHook;
};

class RequestExchange : public RequestExchangeFixture {};

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
  EXPECT_EQ(log->linesWith("base syncRequestWithInfo:")[0].severity, 4);
  EXPECT_EQ(log->linesWith("Probe:http")[0].function, "KBL::BsExternlMediaAuthRequest::Request");
  EXPECT_EQ(log->linesWith("success code")[0].function, "KBL::BsExternlMediaAuthRequest::checkResponseValid");
  EXPECT_EQ(log->linesWith("success code")[0].severity, 4);
}

TEST_F(RequestExchange, ALoggerThatThrowsChangesNoOutcome) {
  installLogger(std::make_shared<ThrowingLogger>(true));
  exchange(okReply(R"({"code":0,"data":{}})"));
  EXPECT_EQ(errorText(*request), "0, ");
  EXPECT_EQ(request->published, 1);

  exchange(okReply(R"({"code":7,"msg":"no"})"));
  EXPECT_EQ(errorText(*request), "7, no");
  installLogger(std::shared_ptr<IBsLogger>(std::shared_ptr<IBsLogger>(), &*log));  // it counts who has gone
}

TEST_F(RequestExchange, TheClientGetsHeadersTimeoutMethodAndUrl) {
  exchange();

  const SentExchange sent = network.onlyExchange();
  EXPECT_EQ(sent.headers, request->headers());
  EXPECT_EQ(sent.totalTimeoutMs, 30000);
  EXPECT_EQ(sent.method, httpPost);
  EXPECT_EQ(sent.url, urlOf("testKey"));
  EXPECT_FALSE(sent.proxy.has_value());
}

TEST_F(RequestExchange, EachMethodIsPassedOn) {
  for (const int method : {0, 1, 2}) {
    request = makeRequest<ProbeRequest>("Probe", method);
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
  request = makeRequest<ProbeRequest>("Probe", httpPost, "keyThatNobodyConfigured");
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
  network.answer([](const SentExchange&) -> NetReply { throw std::bad_alloc(); });
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

}  // namespace
