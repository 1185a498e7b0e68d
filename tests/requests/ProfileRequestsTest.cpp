// What the platforms tell of a user.
#include "requests/ProfileRequestsFixture.h"

#include <gmock/gmock.h>

using namespace KBL;
using Char = ExternlMediaMixedCharKey;
using testing::ElementsAre;
using testing::Pair;

// --- YouTube user

TEST_F(ProfileRequests, GoogleUserIsAskedWithTheTokenInTheAddress) {
  run<GoogleUser>();

  const SentExchange sent = network.onlyExchange();
  EXPECT_EQ(sent.url, urlOf("urlCloudDiskAuthGoogleDiskUserInfo") + "?alt=json&access_token=platform-token");
  EXPECT_EQ(sent.method, httpGet);
  EXPECT_THAT(sent.headers, ElementsAre(Pair("Content-Type", "application/json;")));
  EXPECT_EQ(sent.body, "");
  const auto lines = log->linesWith("ExternlMediaAuthYoutubeUserInfo:http");
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_EQ(lines[0].text, "ExternlMediaAuthYoutubeUserInfo:" + sent.url);
  EXPECT_EQ(lines[0].function, "KBL::BsExternlMediaAuthYoutubeUserInfoRequest::Request");
  EXPECT_EQ(lines[0].file, "ProfileRequests.cpp");
  EXPECT_GT(lines[0].line, 0);
}

TEST_F(ProfileRequests, GoogleUserDoesNotCheckTheToken) {
  info = makeRef<BsExternlMediaAuthLoginInfo>();
  run<GoogleUser>();
  EXPECT_EQ(network.onlyExchange().url,
            urlOf("urlCloudDiskAuthGoogleDiskUserInfo") + "?alt=json&access_token=");
}

TEST_F(ProfileRequests, ATokenThatSpoilsTheAddressSendsNothing) {
  info->setCharKeyConfig(Char::thirdAccessToken, "tok en\r\n");
  EXPECT_EQ(errorText(*run<GoogleUser>()), "-10001, url invalid");
  EXPECT_EQ(errorText(*run<Douyin>()), "-10001, url invalid");
  EXPECT_EQ(network.exchanges().size(), 0U);
  expectNothingPublished();
}

TEST_F(ProfileRequests, GoogleUserFillsTheInfo) {
  const auto request = run<GoogleUser>(
      R"({"id":"42","email":"a@b.test","name":"Ann Bee","given_name":"Ann","family_name":"Bee",)"
      R"("picture":"http://pic.test/a.png","locale":"en"})");

  EXPECT_EQ(textIn(*info, Char::userSessionId), uuid);
  EXPECT_EQ(textIn(*info, Char::userAccountUid), "42");
  EXPECT_EQ(textIn(*info, Char::userAccount), "a@b.test");
  EXPECT_EQ(textIn(*info, Char::userNickName), "Ann Bee");
  EXPECT_EQ(textIn(*info, Char::userFirstName), "Ann");
  EXPECT_EQ(textIn(*info, Char::userLastName), "Bee");
  EXPECT_EQ(textIn(*info, Char::userAvatarUrl), "http://pic.test/a.png");
  EXPECT_EQ(textIn(*info, Char::userAvatarLocal), "(unset)");
  EXPECT_EQ(textIn(*info, Char::videoCategories), "(unset)");
  expectPublished(*request);
}

TEST_F(ProfileRequests, TheAvatarStepAsksNoNetwork) {
  run<GoogleUser>(R"({"id":"42","picture":"http://pic.test/a.png"})");
  EXPECT_EQ(network.exchanges().size(), 1U);
  EXPECT_EQ(network.clientsMade(), 1);
}

TEST_F(ProfileRequests, AMissingGivenNameReadsAsEmpty) {
  run<GoogleUser>(R"({"id":"42","name":"Ann"})");
  EXPECT_EQ(textIn(*info, Char::userFirstName), "");
  EXPECT_EQ(textIn(*info, Char::userLastName), "");
}

TEST_F(ProfileRequests, GooglesErrorIsReported) {
  const std::string body = R"({"error":{"code":401,"message":"Invalid Credentials"}})";
  const auto request = run<GoogleUser>(body, 401);

  EXPECT_EQ(errorText(*request), "401, Invalid Credentials");
  EXPECT_TRUE(
      log->hasLine("ExternlMediaAuthYoutubeUserInfo, error code:401,msg:Invalid Credentials,content:" + body +
                   ", url: " + urlOf("urlCloudDiskAuthGoogleDiskUserInfo")));
  const auto line = log->linesWith(", error code:").at(0);
  EXPECT_EQ(line.severity, IBsLogger::severityInfo);
  EXPECT_EQ(line.function, "KBL::BsExternlMediaAuthYoutubeUserInfoRequest::checkResponseValid");
  EXPECT_GT(line.line, 0);
  expectNothingPublished();
}

TEST_F(ProfileRequests, GooglesErrorOfAnotherShapeIsTheStatus) {
  const std::string body = R"({"error":"invalid_token"})";
  EXPECT_EQ(errorText(*run<GoogleUser>(body, 401)), "401, " + body);
  expectNothingPublished();
}

TEST_F(ProfileRequests, GoogleLogsNothingOfAValidReply) {
  run<GoogleUser>(R"({"id":"42"})");
  EXPECT_TRUE(log->linesWith("error code").empty());
}

TEST_F(ProfileRequests, BadJsonFromGoogleHasCodeZeroAndPublishesNothing) {
  for (const std::string body : {"<html>", "{\"id\":", "\"text\"", "/* no */ {}"}) {
    EXPECT_EQ(errorText(*run<GoogleUser>(body)), "0, can't read json. response:" + body);
    EXPECT_EQ(errorText(*run<Categories>(body)), "0, can't read json. response:" + body);
  }
  expectNothingPublished();
}

TEST_F(ProfileRequests, BadJsonWithAFailureStatusIsTheStatus) {
  EXPECT_EQ(errorText(*run<GoogleUser>("oops", 503)), "503, oops");
  EXPECT_EQ(errorText(*run<Categories>("oops", 503)), "503, oops");
  EXPECT_EQ(errorText(*run<Tiktok>("oops", 503)), "503, oops");
  EXPECT_EQ(errorText(*run<Douyin>("oops", 503)), "503, oops");
  expectNothingPublished();
}

// --- YouTube categories

TEST_F(ProfileRequests, CategoriesAreAskedForTheUs) {
  run<Categories>();

  const SentExchange sent = network.onlyExchange();
  EXPECT_EQ(sent.url, urlOf("urlYoutubeVideoCategories") + "?part=snippet&regionCode=us&alt=json");
  EXPECT_EQ(sent.method, httpGet);
  EXPECT_THAT(sent.headers, ElementsAre(Pair("accept", "application/json"),
                                        Pair("authorization", "Bearer platform-token")));
  EXPECT_EQ(sent.bearer, "");
}

TEST_F(ProfileRequests, CategoriesNeedAToken) {
  info->setCharKeyConfig(Char::thirdAccessToken, "");
  EXPECT_EQ(errorText(*run<Categories>()), "140013, third access token param invalid");
  EXPECT_EQ(network.exchanges().size(), 0U);
}

TEST_F(ProfileRequests, CategoriesAreOneTextWithAFinalBar) {
  const auto request = run<Categories>(
      R"({"items":[{"snippet":{"title":"A","assignable":true}},{"snippet":{"title":"B","assignable":true}}]})");
  EXPECT_EQ(textIn(*info, Char::videoCategories), "A|B|");
  EXPECT_EQ(textIn(*info, Char::userNickName), "(unset)");
  EXPECT_EQ(textIn(*info, Char::userSessionId), "(unset)");
  expectPublished(*request);
}

TEST_F(ProfileRequests, ACategoryThatIsNotAssignableIsListedLikeAnyOther) {
  run<Categories>(R"({"items":[{"snippet":{"title":"A","assignable":false}}]})");
  EXPECT_EQ(textIn(*info, Char::videoCategories), "A|");
}

TEST_F(ProfileRequests, ItemsThatDoNotSayAreSkipped) {
  run<Categories>(R"({"items":[{"snippet":{"title":"A"}},{"id":"1"},7,null,[],)"
                  R"({"snippet":{"assignable":true}},{"snippet":{"title":"B","assignable":true}}]})");
  EXPECT_EQ(textIn(*info, Char::videoCategories), "|B|");
}

TEST_F(ProfileRequests, NoItemsGiveEmptyTextAllTheSame) {
  for (const std::string body : {"{}", R"({"items":[]})", R"({"items":"none"})", R"({"items":{"a":1}})"}) {
    run<Categories>(body);
    EXPECT_EQ(textIn(*info, Char::videoCategories), "") << body;
  }
  EXPECT_EQ(manager->count("updateInfo"), 4U);
}

// --- TikTok

TEST_F(ProfileRequests, TiktokIsAskedWithTheTokenInTheBody) {
  run<Tiktok>();

  const SentExchange sent = network.onlyExchange();
  EXPECT_EQ(sent.url, urlOf("urlMediaAuthTiktokUserInfo"));
  EXPECT_EQ(sent.method, httpPost);
  EXPECT_THAT(sent.headers, ElementsAre(Pair("Content-Type", "application/json;")));
  EXPECT_EQ(
      sent.body,
      "{\"access_token\":\"platform-token\",\"fields\":[\"open_id\",\"avatar_url\",\"display_name\"]}\n");
}

TEST_F(ProfileRequests, TiktokNeedsAToken) {
  info->setCharKeyConfig(Char::thirdAccessToken, "");
  EXPECT_EQ(errorText(*run<Tiktok>()), "140013, access token invalid");
  EXPECT_EQ(network.exchanges().size(), 0U);
}

TEST_F(ProfileRequests, TiktokFillsTheInfo) {
  const auto request = run<Tiktok>(
      R"({"data":{"user":{"open_id":"o","display_name":"d","avatar_url":"u"}},"error":{"code":0}})");

  EXPECT_EQ(textIn(*info, Char::userSessionId), uuid);
  EXPECT_EQ(textIn(*info, Char::userAccountUid), "o");
  EXPECT_EQ(textIn(*info, Char::userNickName), "d");
  EXPECT_EQ(textIn(*info, Char::userAvatarUrl), "u");
  EXPECT_EQ(textIn(*info, Char::userAccount), "(unset)");
  expectPublished(*request);
}

TEST_F(ProfileRequests, TiktokWithoutAnErrorMemberIsRefused) {
  for (const std::string body : {R"({"data":{}})", R"({"error":null})"}) {
    EXPECT_EQ(errorText(*run<Tiktok>(body)), "0, can't read json.") << body;
  }
  expectNothingPublished();
}

TEST_F(ProfileRequests, TiktoksMessageIsReplacedButItsNumberIsKept) {
  EXPECT_EQ(errorText(*run<Tiktok>(R"({"error":{"code":10002,"message":"expired"}})")),
            "10002, can't read json.");
  EXPECT_EQ(errorText(*run<Tiktok>("<html>")), "0, can't read json.");
  expectNothingPublished();
}

TEST_F(ProfileRequests, TiktokLogsEveryReply) {
  const std::string good = R"({"data":{},"error":{"code":0}})";
  run<Tiktok>(good);
  EXPECT_TRUE(log->hasLine("ExternlMediaAuthTiktokUserInfo, tiktok user info error code:0,msg:, content:" +
                           good + ", url: " + urlOf("urlMediaAuthTiktokUserInfo")));

  run<Tiktok>("oops");
  EXPECT_TRUE(
      log->hasLine("ExternlMediaAuthTiktokUserInfo, tiktok user info error code:0,msg:can't read json., "
                   "content:oops, url: " +
                   urlOf("urlMediaAuthTiktokUserInfo")));
  EXPECT_EQ(log->linesWith("tiktok user info error code")[0].function,
            "KBL::BsExternlMediaAuthTiktokUserInfoRequest::checkResponseValid");
  EXPECT_EQ(log->linesWith("tiktok user info error code")[0].severity, 4);
}

// --- Douyin

TEST_F(ProfileRequests, DouyinIsAskedWithTokenAndUidInTheAddress) {
  const auto request = run<Douyin>();

  const SentExchange sent = network.onlyExchange();
  EXPECT_EQ(sent.url, urlOf("urlMediaAuthDouyinUserInfo") + "?access_token=platform-token&open_id=uid-1");
  EXPECT_EQ(sent.method, httpGet);
  EXPECT_EQ(sent.headers.count("Accept-Language"), 1U);
}

TEST_F(ProfileRequests, DouyinNeedsUidAndToken) {
  info->setCharKeyConfig(Char::thirdAccessToken, "");
  EXPECT_EQ(errorText(*run<Douyin>()), "140013, access token invalid");
  info = makeRef<BsExternlMediaAuthLoginInfo>();
  EXPECT_EQ(errorText(*run<Douyin>()), "-10002, account uid invalid");
  EXPECT_EQ(network.exchanges().size(), 0U);
}

TEST_F(ProfileRequests, DouyinAsksWithAnEmptyUidToo) {
  info->setCharKeyConfig(Char::userAccountUid, "");
  EXPECT_EQ(errorText(*run<Douyin>()), "0, ");
  EXPECT_EQ(network.onlyExchange().url,
            urlOf("urlMediaAuthDouyinUserInfo") + "?access_token=platform-token&open_id=");
}

TEST_F(ProfileRequests, DouyinFillsTheInfo) {
  const auto request =
      run<Douyin>(R"({"data":{"error_code":0,"open_id":"o","union_id":"n","nickname":"d","avatar":"u"}})");

  EXPECT_EQ(textIn(*info, Char::userSessionId), uuid);
  EXPECT_EQ(textIn(*info, Char::userAccountUid), "o");
  EXPECT_EQ(textIn(*info, Char::userAccount), "n");
  EXPECT_EQ(textIn(*info, Char::userNickName), "d");
  EXPECT_EQ(textIn(*info, Char::userAvatarUrl), "u");
  expectPublished(*request);
}

TEST_F(ProfileRequests, DouyinWithoutDataIsValidAndFillsEmptyText) {
  run<Douyin>("{}");
  EXPECT_EQ(textIn(*info, Char::userAccountUid), "");
  EXPECT_EQ(textIn(*info, Char::userNickName), "");
  EXPECT_EQ(textIn(*info, Char::userAccount), "");
  EXPECT_EQ(textIn(*info, Char::userAvatarUrl), "");
  EXPECT_EQ(manager->count("updateInfo"), 1U);
}

TEST_F(ProfileRequests, DouyinsErrorIsReportedAndNotLogged) {
  EXPECT_EQ(errorText(*run<Douyin>(R"({"data":{"error_code":2190008,"description":"expired"}})")),
            "2190008, expired");
  EXPECT_TRUE(log->linesWith("user info error code").empty());
  expectNothingPublished();
}

TEST_F(ProfileRequests, DouyinLogsBadJsonAlone) {
  EXPECT_EQ(errorText(*run<Douyin>("oops")), "0, can't read json. response:oops");
  EXPECT_TRUE(
      log->hasLine("ExternlMediaAuthDouyinUserInfo, Douyin user info error code:0,msg:can't read json. "
                   "response:oops,content:oops, url: " +
                   urlOf("urlMediaAuthDouyinUserInfo")));
  expectNothingPublished();
}

// --- All

TEST_F(ProfileRequests, WithoutAnInfoThreeOfThemRefuseOrSendAnEmptyToken) {
  network.answer(okReply("{}"));
  const auto tiktok = makeRequest<Tiktok>();
  tiktok->syncRequestWithInfo(nullptr);
  const auto douyin = makeRequest<Douyin>();
  douyin->syncRequestWithInfo(nullptr);
  const auto categories = makeRequest<Categories>();
  categories->syncRequestWithInfo(nullptr);

  EXPECT_NE(tiktok->errorInfo()->errorCode(), 0);
  EXPECT_NE(douyin->errorInfo()->errorCode(), 0);
  EXPECT_EQ(categories->errorInfo()->errorCode(), 140013);
  EXPECT_EQ(network.exchanges().size(), 0U);
}

TEST_F(ProfileRequests, AFailureAfterASuccessPublishesNothingMore) {
  const auto request = run<GoogleUser>(R"({"id":"42"})");
  network.answer(okReply(R"({"error":{"code":403,"message":"no"}})"));
  request->syncRequestWithInfo(info.get());
  EXPECT_EQ(manager->count("updateInfo"), 1U);
  EXPECT_EQ(errorText(*request), "403, no");
}
