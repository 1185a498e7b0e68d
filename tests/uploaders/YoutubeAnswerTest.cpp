// How answers to a resumable upload are read.
#include "uploaders/YoutubeUploadFixture.h"

using namespace KBL;

namespace {
struct AnswerCase {
  const char* name;
  std::string content;
  int valid;
  int code;
  std::string message;
};

class YoutubeAnswer : public YoutubeUpload, public testing::WithParamInterface<AnswerCase> {};

TEST_P(YoutubeAnswer, IsCheckedForTheServicesError) {
  const ScopedRecordingLogger log;
  Json::Value root;
  std::string found;
  int foundCode = 77;
  EXPECT_EQ(request_->checkResponseValid(GetParam().content, root, found, foundCode), GetParam().valid);
  EXPECT_EQ(foundCode, GetParam().code);
  EXPECT_EQ(found, GetParam().message);
  const std::string line = "ExternlMediaAuthYoutubeUpload, error code:" + std::to_string(GetParam().code) +
                           ",msg:" + GetParam().message + ",content:" + GetParam().content +
                           ", url: " + uploadUrl;
  EXPECT_EQ(log->hasLine(line), GetParam().valid == 0);
  for (const LogLine& written : log->linesWith(", error code:")) {
    EXPECT_EQ(written.severity, 4);
    EXPECT_EQ(written.function, "KBL::BsExternlMediaAuthYoutubeUploadFileRequest::checkResponseValid");
    EXPECT_GT(written.line, 0);
  }
}

INSTANTIATE_TEST_SUITE_P(
    Bodies, YoutubeAnswer,
    testing::Values(AnswerCase{"Good", goodAnswer, 1, 0, ""}, AnswerCase{"NoMembers", "{}", 1, 0, ""},
                    AnswerCase{"Array", "[1]", 1, 0, ""},
                    AnswerCase{"Error", R"({"error":{"code":403,"message":"m"}})", 0, 403, "m"},
                    AnswerCase{"ErrorOfWrongTypes", R"({"error":{"code":"x","message":[1]}})", 0, 0, ""},
                    AnswerCase{"ErrorIsText", R"({"error":"invalid_grant"})", 0, 0, ""},
                    AnswerCase{"HugeCode", R"({"error":{"code":1e300}})", 0, 2147483647, ""},
                    AnswerCase{"Empty", "", 0, 0, "can't read json. response:"},
                    AnswerCase{"NoJson", "oops", 0, 0, "can't read json. response:oops"},
                    AnswerCase{"Comment", "/* c */ {}", 0, 0, "can't read json. response:/* c */ {}"},
                    AnswerCase{"BareNumber", "7", 0, 0, "can't read json. response:7"},
                    AnswerCase{"DeepNesting", std::string(5000, '['), 0, 0,
                               "can't read json. response:" + std::string(5000, '[')}),
    [](const auto& test) { return test.param.name; });

TEST_F(YoutubeUpload, AnAnswerIsNotReadOverAnErrorThatStands) {
  NetReply reply;
  const auto error = makeRef<BsErrorInfo>();
  error->setError(-10021, "read file error");
  EXPECT_EQ(request_->parseEnvelope(info_.get(), goodAnswer, error.get(), &reply), 0);
  EXPECT_EQ(error->errorCode(), -10021);
  EXPECT_EQ(request_->handleRequestData(request_.get(), info_.get(), error.get(), &reply), 1);
}

TEST_F(YoutubeUpload, AnAnswerWithoutTheVideoIsReportedWithTheTransportsCode) {
  NetReply reply;
  reply.resultCode = 0;
  const auto error = makeRef<BsErrorInfo>();
  EXPECT_EQ(request_->parseEnvelope(info_.get(), R"({"id":"a"})", error.get(), &reply), 0);
  EXPECT_EQ(error->errorCode(), 0);
  EXPECT_STREQ(error->errorMessage(), R"({"id":"a"})");
}

TEST_F(YoutubeUpload, AnIdOfAWrongTypeIsMissing) {
  NetReply reply;
  reply.resultCode = 0;
  const auto error = makeRef<BsErrorInfo>();
  EXPECT_EQ(request_->parseEnvelope(info_.get(), R"({"kind":1,"id":[2]})", error.get(), &reply), 0);
}

TEST_F(YoutubeUpload, AFinishedUploadKeepsACopyOfItsRecord) {
  NetReply reply;
  const auto error = makeRef<BsErrorInfo>();
  info_->setCharKeyConfig("upload_title", "kept");
  ASSERT_EQ(request_->parseEnvelope(info_.get(), goodAnswer, error.get(), &reply), 1);
  EXPECT_EQ(request_->handleRequestData(request_.get(), info_.get(), error.get(), &reply), 0);
  EXPECT_EQ(request_->replyInfo()->infoType(), 405);
  EXPECT_STREQ(request_->replyInfo()->charKeyConfig("upload_title"), "kept");
}
}  // namespace
