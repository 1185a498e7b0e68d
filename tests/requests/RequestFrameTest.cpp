// What a request is made of: constants, settings, headers, the cast by name.
#include "boundary/records/Records.h"
#include "foundation/BsNet/NetKeys.h"
#include "foundation/object/CastByName.h"
#include "requests/BsExternlMediaAuthClientCredentialsRequest.h"
#include "requests/BsExternlMediaAuthDouyinUserInfoRequest.h"
#include "requests/BsExternlMediaAuthTiktokUserInfoRequest.h"
#include "requests/BsExternlMediaAuthUserSupportCodeRequest.h"
#include "requests/BsExternlMediaAuthUserSupportConsumeRequest.h"
#include "requests/BsExternlMediaAuthUserSupportSessionRequest.h"
#include "requests/BsExternlMediaAuthUserSupportTokenRequest.h"
#include "requests/BsExternlMediaAuthYoutubeUserInfoRequest.h"
#include "requests/BsExternlMediaAuthYoutubeVideoCategoryRequest.h"
#include "requests/ProbeRequest.h"
#include "requests/RequestsTest.h"
#include "support/SlotOf.h"

#include <gmock/gmock.h>

#include <sstream>

using namespace KBL;

namespace {

class RequestFrame : public RequestsTest {};

/// A concrete class's protected constants, without changing the class.
struct Constants : BsExternlMediaAuthRequest {
  static std::string urlKeyOf(const BsExternlMediaAuthRequest& request) {
    return request.*(&Constants::urlKey_);
  }
  static int methodOf(const BsExternlMediaAuthRequest& request) { return request.*(&Constants::httpMethod_); }
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
  EXPECT_EQ(Constants::methodOf(*request), method) << name;
  EXPECT_EQ(Constants::urlKeyOf(*request), urlKey) << name;
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
  EndCounter replies;
  EndCounter errors;
  {
    const auto request = makeRef<ProbeRequest>();
    request->replyInfo()->SetProtocol(&replies);
    request->errorInfo()->SetProtocol(&errors);
  }
  EXPECT_EQ(replies.ends(), 1);
  EXPECT_EQ(errors.ends(), 1);
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
  const std::size_t first = slotOf(&Frame::needToRetry) + 2;  // `_callback`, which is protected, lies between
  EXPECT_EQ(slotOf(&Frame::checkResponseValid), first);
  EXPECT_EQ(slotOf(&Frame::Request), first + 1);
  EXPECT_EQ(slotOf(&Frame::handleResponse), first + 2);
  EXPECT_EQ(slotOf(&Frame::hookRequestInfo), first + 3);
  EXPECT_EQ(slotOf(&Frame::hookNetError), first + 4);
  EXPECT_EQ(slotOf(&Frame::parseEnvelope), first + 5);
  EXPECT_EQ(slotOf(&Frame::handleRequestData), first + 6);
}
#endif
