// Replies to profile requests that cannot be read, or not trusted.
#include "requests/ProfileRequestsFixture.h"
#include <BsNet/NetKeys.h>

#include <gmock/gmock.h>

#include <string>

using namespace KBL;

TEST_F(ProfileRequests, ACodeThatCannotBeReadIsNoProfile) {
  for (const std::string body : {R"({"error":"none"})", R"({"error":{"code":"access_token_invalid"}})",
                                 R"({"error":{"code":0.4}})", "[]", R"([{"error":{"code":0}}])"}) {
    EXPECT_EQ(errorText(*run<Tiktok>(body)), "-10000, can't read json.") << body;
  }
  for (const std::string body : {R"({"error":"invalid"})", R"({"error":{"code":"x","message":"m"}})",
                                 R"({"error":{"code":true}})", "[]"}) {
    EXPECT_EQ(errorText(*run<GoogleUser>(body)), "-10000, can't read json. response:" + body);
    EXPECT_EQ(errorText(*run<Categories>(body)), "-10000, can't read json. response:" + body);
  }
  for (const std::string body :
       {R"({"data":{"error_code":"2190008","nickname":"n"}})", R"({"data":{"error_code":0.4}})",
        R"({"data":"none"})", R"({"data":[]})", "[]"}) {
    EXPECT_EQ(errorText(*run<Douyin>(body)), "-10000, can't read json. response:" + body);
  }
  expectNothingPublished();
}

TEST_F(ProfileRequests, AnErrorMemberOfGoogleIsARefusalEvenIfItIsNull) {
  EXPECT_EQ(errorText(*run<GoogleUser>(R"({"error":null,"name":"n"})")), "0, ");
  EXPECT_EQ(
      log->linesWith("ExternlMediaAuthYoutubeUserInfo, error code:0,msg:,content:{\"error\":null").size(),
      1U);
  expectNothingPublished();
}

TEST_F(ProfileRequests, AReplyWithTextBehindItIsNoJson) {
  const std::string profile = R"({"name":"n","error":{"code":0},"data":{"nickname":"n"}} x)";
  EXPECT_EQ(errorText(*run<GoogleUser>(profile)), "0, can't read json. response:" + profile);
  EXPECT_EQ(errorText(*run<Tiktok>(profile)), "0, can't read json.");
  EXPECT_EQ(errorText(*run<Douyin>(profile)), "0, can't read json. response:" + profile);
  expectNothingPublished();
}

TEST_F(ProfileRequests, AReplyThatCostsTooMuchIsRefusedByAllAlike) {
  const std::string start = R"({"error":{"code":0},"data":{"user":{}},"name":")";
  const std::string body = start + std::string((1U << 20) - start.size() - 1, 'x') + "\"}";
  const std::string refusal = "-10000, can't read json. response:" + start;
  EXPECT_THAT(errorText(*run<GoogleUser>(body)), testing::StartsWith(refusal));
  EXPECT_THAT(errorText(*run<Tiktok>(body)), testing::StartsWith(refusal));
  EXPECT_THAT(errorText(*run<Douyin>(body)), testing::StartsWith(refusal));
  expectNothingPublished();
}

TEST_F(ProfileRequests, EachReplyIsReadAnew) {
  const auto request = run<Categories>(R"({"items":[{"snippet":{"assignable":true,"title":"A"}}]})");
  request->syncRequestWithInfo(info.get());
  EXPECT_EQ(textIn(*info, KBL::ExternlMediaMixedCharKey::videoCategories), "A|");
}

TEST_F(ProfileRequests, ANullInfoAsksNothing) {
  NetReply reply;
  EXPECT_EQ(makeRequest<Tiktok>()->Request(nullptr, nullptr, &reply), 1);
  EXPECT_EQ(makeRequest<Douyin>()->Request(nullptr, nullptr, &reply), 1);
  EXPECT_EQ(reply.resultCode, NetReply().resultCode);
  EXPECT_EQ(reply.errorMessage, "");
}

TEST_F(ProfileRequests, AReplyWithACommentIsNoJson) {
  const std::string profile = R"(/* fine */ {"error":{"code":0},"data":{}})";
  EXPECT_EQ(errorText(*run<Tiktok>(profile)), "0, can't read json.");
  EXPECT_EQ(errorText(*run<Douyin>(profile)), "0, can't read json. response:" + profile);
  expectNothingPublished();
}

// --- What enters lines and messages

TEST_F(ProfileRequests, NoMoreThan4KibibytesOfAReplyEnterLinesAndMessages) {
  const std::string cut = std::string(4095, 'x');
  const std::string word = cut + "\xC3\xA4" + std::string(100000, 'y');
  const auto linesAreShort = [this] {
    for (const LogLine& line : log->lines()) EXPECT_LT(line.text.size(), 9000U) << line.text.substr(0, 80);
    log->clear();
  };

  EXPECT_EQ(errorText(*run<GoogleUser>(word)), "0, can't read json. response:" + cut);
  linesAreShort();
  EXPECT_EQ(errorText(*run<GoogleUser>(R"({"error":{"code":4,"message":")" + word + "\"}}")), "4, " + cut);
  linesAreShort();
  EXPECT_EQ(errorText(*run<Douyin>(R"({"data":{"error_code":4,"description":")" + word + "\"}}")),
            "4, " + cut);
  linesAreShort();
  EXPECT_EQ(errorText(*run<Tiktok>(R"({"error":{"code":4},"x":")" + word + "\"}")), "4, can't read json.");
  linesAreShort();
  EXPECT_EQ(errorText(*run<Douyin>(word, 503)), "503, " + cut);
  linesAreShort();
  EXPECT_EQ(textIn(*info, ResponseCharKey::content), word);
}
