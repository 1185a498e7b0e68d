// What a request is made of: constants, settings, headers, the cast by name.
#include "boundary/records/Records.h"
#include "requests/AccountRequests.h"
#include "requests/BsExternlMediaAuthUserSupportSessionRequest.h"
#include "requests/ProbeRequest.h"
#include "requests/ProfileRequests.h"
#include "requests/RequestsFixture.h"
#include "support/ReferenceCount.h"
#include "support/SlotOf.h"
#include <BsNet/BsRequestParamReply.h>
#include <BsNet/NetKeys.h>
#include <KblUtils/CastByName.h>

#include <gmock/gmock.h>

#include <sstream>

using namespace KBL;

namespace {

class RequestFrame : public RequestsFixture {};

/// A concrete class's protected constants, without changing the class.
struct Constants : BsExternlMediaAuthRequest {
  static const KBL::RequestExchange& of(const BsExternlMediaAuthRequest& request) {
    return (request.*(&Constants::exchangePart))();
  }
};

std::string addressOf(const void* object) {
  std::ostringstream text;
  text << object;
  return text.str();
}

template <class Request>
void expectConstants(int type, int method, const std::string& urlKey, const std::string& name) {
  const auto request = makeRef<Request>();
  EXPECT_EQ(request->requestType(), type) << name;
  EXPECT_EQ(Constants::of(*request).httpMethod(), method) << name;
  EXPECT_EQ(Constants::of(*request).urlKey(), urlKey) << name;
  EXPECT_EQ(std::string(request->getRequestName()), name);
}

}  // namespace

TEST_F(RequestFrame, EveryClassHasItsConstants) {
  expectConstants<BsExternlMediaAuthRequest>(0, 1, "", "ExternlMediaAuthRequestNone");
  expectConstants<BsExternlMediaAuthUserSupportSessionRequest>(1, 1, "urlLFServerUserSupportSession",
                                                               "ExternlMediaAuthUserSupportSession");
  expectConstants<BsExternlMediaAuthUserSupportCodeRequest>(2, 0, "urlLFServerUserSupportCode",
                                                            "ExternlMediaAuthUserSupportCode");
  expectConstants<BsExternlMediaAuthUserSupportTokenRequest>(3, 1, "urlLFServerUserSupportToken",
                                                             "ExternlMediaAuthUserSupportToken");
  expectConstants<BsExternlMediaAuthClientCredentialsRequest>(4, 1, "urlLFServerClientCredentials",
                                                              "ExternlMediaAuthClientCredentials");
  expectConstants<BsExternlMediaAuthYoutubeUserInfoRequest>(5, 0, "urlCloudDiskAuthGoogleDiskUserInfo",
                                                            "ExternlMediaAuthYoutubeUserInfo");
  expectConstants<BsExternlMediaAuthYoutubeVideoCategoryRequest>(6, 0, "urlYoutubeVideoCategories",
                                                                 "ExternlMediaAuthYoutubeVideoCategory");
  expectConstants<BsExternlMediaAuthTiktokUserInfoRequest>(8, 1, "urlMediaAuthTiktokUserInfo",
                                                           "ExternlMediaAuthTiktokUserInfo");
  expectConstants<BsExternlMediaAuthDouyinUserInfoRequest>(10, 0, "urlMediaAuthDouyinUserInfo",
                                                           "ExternlMediaAuthDouyinUserInfo");
  expectConstants<BsExternlMediaAuthUserSupportConsumeRequest>(12, 1, "urlUserSupportQueryConsume",
                                                               "ExternlMediaAuthUserSupportQueryConsume");
}

TEST_F(RequestFrame, TheKindsHaveTheirNumbers) {
  EXPECT_EQ(requestYoutubeUploadFile, 7);
  EXPECT_EQ(requestTiktokUploadFile, 9);
  EXPECT_EQ(requestDouyinUploadFile, 11);
}

TEST_F(RequestFrame, AFreshRequestHasItsInitialValues) {
  const auto request = makeRef<ProbeRequest>();

  EXPECT_EQ(request->chainMode(), 0);
  EXPECT_EQ(request->notifyMode(), 2);
  EXPECT_EQ(request->platform(), -1);
  EXPECT_EQ(request->ownerTag(), "");
  EXPECT_EQ(request->userUuid(), "");
  EXPECT_TRUE(request->headers().empty());
  EXPECT_EQ(request->fullPubInfo(), nullptr);
  EXPECT_EQ(errorText(*request), "0, ");
  EXPECT_EQ(request->replyInfo()->infoType(), 0);
  EXPECT_EQ(request->httpMethod(), 1);
}

TEST_F(RequestFrame, BirthAndEndAreLogged) {
  std::string address;
  {
    const auto request = makeRef<BsExternlMediaAuthUserSupportCodeRequest>();
    address = addressOf(static_cast<BsExternlMediaAuthRequest*>(request.get()));
  }

  ASSERT_EQ(log->lines().size(), 2U);
  const LogLine birth = log->lines()[0];
  const LogLine end = log->lines()[1];
  EXPECT_EQ(birth.text, "create:ExternlMediaAuthUserSupportCode, " + address);
  EXPECT_EQ(end.text, "release:ExternlMediaAuthUserSupportCode, " + address);
  EXPECT_EQ(birth.severity, 4);
  EXPECT_EQ(end.severity, 4);
  EXPECT_GT(birth.line, 0);
  EXPECT_EQ(birth.function, "KBL::BsExternlMediaAuthRequest::BsExternlMediaAuthRequest");
  EXPECT_EQ(end.function, "KBL::BsExternlMediaAuthRequest::~BsExternlMediaAuthRequest");
}

TEST_F(RequestFrame, TheFrameAnswersTheNamesOfItsBase) {
  const auto request = makeRef<BsExternlMediaAuthRequest>();

  EXPECT_EQ(request->QueryInterfaceByName("IBsRequstCallback"),
            static_cast<IBsRequstCallback*>(request.get()));
  EXPECT_EQ(request->QueryInterfaceByName("IBsBaseRequest"), static_cast<IBsBaseRequest*>(request.get()));
  EXPECT_EQ(request->QueryInterfaceByName("BsExternlMediaAuthRequest"), nullptr);
  EXPECT_EQ(request->QueryInterfaceByName("ibsbaserequest"), nullptr);
}

TEST_F(RequestFrame, AConcreteRequestAnswersTheFramesNameAlone) {
  const auto request = makeRef<BsExternlMediaAuthUserSupportTokenRequest>();

  EXPECT_EQ(request->QueryInterfaceByName("BsExternlMediaAuthRequest"),
            static_cast<BsExternlMediaAuthRequest*>(request.get()));
  EXPECT_EQ(request->QueryInterfaceByName("IBsRequstCallback"), nullptr);
  EXPECT_EQ(request->QueryInterfaceByName("IBsBaseRequest"), nullptr);
}

TEST_F(RequestFrame, InitAuthRequestTakesWhatTheContextHolds) {
  context.serverProxy = proxyRecord();
  const auto request = makeRequest<ProbeRequest>();

  EXPECT_EQ(request->getServerProxy(), context.serverProxy.get());
  EXPECT_EQ(request->getTimeout(), 30000);
  EXPECT_EQ(request->platform(), ema_youtube);
  EXPECT_EQ(request->ownerTag(), ownerTag);
  EXPECT_EQ(request->userUuid(), uuid);
  EXPECT_STREQ(request->fullPubInfo()->charKeyConfig(PubCharKey::appSecret), "hush");
}

TEST_F(RequestFrame, InitAuthRequestBearsAnEmptyContext) {
  const auto request = makeRef<ProbeRequest>();
  initAuthRequest(AuthContext(), "", *request);

  EXPECT_EQ(request->getPubParam(), nullptr);
  EXPECT_EQ(request->getServerProxy(), nullptr);
}

TEST_F(RequestFrame, ThePublicRecordOfTheBaseHasNoSecretAndTheCopyHas) {
  const auto request = makeRef<ProbeRequest>();

  EXPECT_EQ(request->setPubParam(publicInformation().get()), resultOk);

  ASSERT_NE(request->getPubParam(), nullptr);
  EXPECT_EQ(request->getPubParam()->charKeyConfig(PubCharKey::appSecret), nullptr);
  EXPECT_STREQ(request->getPubParam()->charKeyConfig(PubCharKey::clientType), "desktop");
  EXPECT_STREQ(request->fullPubInfo()->charKeyConfig(PubCharKey::appSecret), "hush");
}

TEST_F(RequestFrame, PublicKeysThatArePresentBecomeHeaders) {
  const auto info = publicInformation();
  const char* const keys[] = {PubCharKey::appSecret,   PubCharKey::clientType, PubCharKey::clientSn,
                              PubCharKey::appKey,      PubCharKey::prodId,     PubCharKey::prodVer,
                              PubCharKey::contentType, PubCharKey::ver,        PubCharKey::lang};
  std::map<std::string, std::string> expected;
  for (const char* const key : keys) {
    info->setCharKeyConfig(key, (std::string("value of ") + key).c_str());
    expected[key] = std::string("value of ") + key;
  }
  info->setCharKeyConfig("another_key", "no header");
  const auto request = makeRef<ProbeRequest>();

  request->setPubParam(info.get());

  EXPECT_EQ(request->headers(), expected);
}

TEST_F(RequestFrame, AbsentPublicKeysGiveNoHeader) {
  const auto request = makeRef<ProbeRequest>();
  request->setPubParam(publicInformation().get());

  EXPECT_THAT(request->headers(),
              testing::UnorderedElementsAre(testing::Pair(PubCharKey::appSecret, "hush"),
                                            testing::Pair(PubCharKey::clientType, "desktop"),
                                            testing::Pair(PubCharKey::lang, "en")));
}

TEST_F(RequestFrame, TheHostsRecordIsNotChangedAndNotShared) {
  const auto info = publicInformation();
  const auto request = makeRef<ProbeRequest>();
  request->setPubParam(info.get());
  info->setCharKeyConfig(PubCharKey::lang, "de");

  EXPECT_STREQ(info->charKeyConfig(PubCharKey::appSecret), "hush");
  EXPECT_STREQ(request->fullPubInfo()->charKeyConfig(PubCharKey::lang), "en");
}

TEST_F(RequestFrame, ASecondPublicRecordIsMergedIntoTheCopy) {
  const auto request = makeRef<ProbeRequest>();
  request->setPubParam(publicInformation().get());
  const auto second = publicInformation();
  second->setCharKeyConfig(PubCharKey::lang, "fr");
  request->setPubParam(second.get());

  EXPECT_STREQ(request->fullPubInfo()->charKeyConfig(PubCharKey::lang), "fr");
  EXPECT_EQ(request->headers().at(PubCharKey::lang), "fr");
}

TEST_F(RequestFrame, NoPublicRecordIsRefused) {
  const auto request = makeRef<ProbeRequest>();
  EXPECT_EQ(request->setPubParam(nullptr), resultFailed);
  EXPECT_EQ(request->fullPubInfo(), nullptr);
}

TEST_F(RequestFrame, TheEndGivesUpReplyErrorAndPublicCopy) {
  LastRelease replies;
  LastRelease errors;
  {
    const auto request = makeRef<ProbeRequest>();
    request->replyInfo()->SetProtocol(&replies);
    request->errorInfo()->SetProtocol(&errors);
  }
  EXPECT_EQ(replies.calls, 1);
  EXPECT_EQ(errors.calls, 1);
}

TEST_F(RequestFrame, ErrorAndReplyAreNeverNull) {
  const auto request = makeRef<ProbeRequest>();
  request->setErrorInfo(nullptr);
  request->setReplyInfo(nullptr);

  EXPECT_NE(request->errorInfo().get(), nullptr);
  EXPECT_NE(request->replyInfo().get(), nullptr);
}

#if defined(__GXX_ABI_VERSION) && defined(__x86_64__)
TEST_F(RequestFrame, TheHooksFollowTheFoundationsInTheirOrder) {
  using Frame = BsExternlMediaAuthRequest;
  // `_callback`, which is protected, lies between
  expectSlots(slotOf(&Frame::needToRetry) + 2, &Frame::checkResponseValid, &Frame::Request,
              &Frame::handleResponse, &Frame::hookRequestInfo, &Frame::hookNetError, &Frame::parseEnvelope,
              &Frame::handleRequestData);
}
#endif

TEST_F(RequestFrame, EachHookWritesTheAddressWithoutTheOther) {
  const auto request = makeRequest<ProbeRequest>();
  NetReply reply;
  const auto ofNetError = makeRef<BsRequestParamReply>();
  const auto ofRequestInfo = makeRef<BsRequestParamReply>();

  request->hookNetError(ofNetError.get(), request->errorInfo().get(), &reply);
  request->hookRequestInfo(ofRequestInfo.get(), request->errorInfo().get(), &reply);

  EXPECT_EQ(textIn(*ofNetError, RequestParamCharKey::url), urlOf("testKey"));
  EXPECT_EQ(textIn(*ofRequestInfo, RequestParamCharKey::url), urlOf("testKey"));
}

TEST_F(RequestFrame, ARecordIsKeptForTheLifeOfTheRequest) {
  const auto record = makeRef<BsExternlMediaUploadInfo>();
  auto request = makeRequest<ProbeRequest>();

  request->keepRecord(record);

  EXPECT_EQ(referencesTo(*record), 2);
  request.reset();
  EXPECT_EQ(referencesTo(*record), 1);
}

TEST_F(RequestFrame, NoMoreThan4KibibytesOfAnAnswerEnterLinesAndMessages) {
  const std::string cut = std::string(4095, 'x');
  const std::string word = cut + "\xC3\xA4" + std::string(100000, 'y');
  const auto info = makeRef<BsExternlMediaAuthMixedInfo>();
  const auto request = makeRequest<ProbeRequest>();
  const auto errorAfter = [&](const NetReply& reply) {
    network.answer(reply);
    request->syncRequestWithInfo(info.get());
    return errorText(*request);
  };

  EXPECT_EQ(errorAfter(okReply(word)), "-10000, can't read json. response:" + cut);
  EXPECT_EQ(errorAfter(okReply(R"({"code":7,"msg":")" + word + "\"}")), "7, " + cut);
  EXPECT_EQ(errorAfter(okReply(R"({"code":0,"msg":")" + word + "\"}")), "0, ");
  EXPECT_EQ(errorAfter(httpReply(500, word)), "500, " + cut);
  EXPECT_EQ(errorAfter(transportFailure(7, word)), "200007, " + cut);
  for (const LogLine& line : log->lines()) EXPECT_LT(line.text.size(), 9000U) << line.text.substr(0, 80);
}
