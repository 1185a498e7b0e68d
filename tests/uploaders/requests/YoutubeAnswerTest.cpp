// How answers to a resumable upload are read.
#include "uploaders/requests/YoutubeUploadFixture.h"

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
    EXPECT_EQ(written.file, "BsExternlMediaAuthYoutubeUploadFileRequest.cpp");
    EXPECT_GT(written.line, 0);
  }
}

INSTANTIATE_TEST_SUITE_P(
    Bodies, YoutubeAnswer,
    testing::Values(AnswerCase{"Good", goodAnswer, 1, 0, ""}, AnswerCase{"NoMembers", "{}", 1, 0, ""},
                    AnswerCase{"Array", "[1]", 0, -10000, "can't read json. response:[1]"},
                    AnswerCase{"Error", R"({"error":{"code":403,"message":"m"}})", 0, 403, "m"},
                    AnswerCase{"ErrorOfWrongTypes", R"({"error":{"code":"x","message":[1]}})", 0, -10000,
                               R"(can't read json. response:{"error":{"code":"x","message":[1]}})"},
                    AnswerCase{"MessageOfAWrongType", R"({"error":{"code":4,"message":[1]}})", 0, 4, ""},
                    AnswerCase{"ErrorIsNull", R"({"error":null})", 0, 0, ""},
                    AnswerCase{"TextBehind", "{} x", 0, 0, "can't read json. response:{} x"},
                    AnswerCase{"ErrorIsText", R"({"error":"invalid_grant"})", 0, -10000,
                               R"(can't read json. response:{"error":"invalid_grant"})"},
                    AnswerCase{"HugeCode", R"({"error":{"code":1e300}})", 0, 2147483647, ""},
                    AnswerCase{"Empty", "", 0, 0, "can't read json. response:"},
                    AnswerCase{"NoJson", "oops", 0, 0, "can't read json. response:oops"},
                    AnswerCase{"Comment", "/* c */ {}", 0, 0, "can't read json. response:/* c */ {}"},
                    AnswerCase{"BareNumber", "7", 0, 0, "can't read json. response:7"},
                    AnswerCase{"DeepNesting", std::string(4096, '['), 0, 0,
                               "can't read json. response:" + std::string(4096, '[')}),
    [](const auto& test) { return test.param.name; });

TEST_F(YoutubeUpload, AnAnswerIsNotReadOverAnErrorThatStands) {
  NetReply reply;
  const auto error = makeRef<BsErrorInfo>();
  ASSERT_EQ(request_->parseEnvelope(info_.get(), goodAnswer, error.get(), &reply), 1);
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

TEST_F(YoutubeUpload, NoMoreThan4KibibytesOfAnAnswerEnterTheError) {
  const std::string cut(4096, 'x');
  const std::string member = R"({"x":")";
  const std::string body = member + cut + cut + "\"}";
  useFile(1);
  network_.reply(403, cut + cut);
  run();
  EXPECT_EQ(code(), 403);
  EXPECT_EQ(message(), cut);

  network_.clear();
  replySession();
  network_.reply(200, body);
  run();
  EXPECT_EQ(code(), 0);
  EXPECT_EQ(message(), body.substr(0, 4096));
}
}  // namespace
