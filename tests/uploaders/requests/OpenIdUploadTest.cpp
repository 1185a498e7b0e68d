// What the uploads to TikTok and to Douyin share: account, token, file and the shape of the answers.
#include "uploaders/requests/OpenIdUploadFixture.h"
#include <BsNet/BsInfoReader.h>

#include <limits>

using namespace KBL;
using testing::IsEmpty;
using testing::SizeIs;

namespace {
struct Tiktok {
  using Request = BsExternlMediaAuthTiktokUploadFileRequest;
  static constexpr int platform = ema_tiktok;
  static constexpr int requestType = 9;
  static constexpr const char* name = "ExternlMediaAuthTiktokUpload";
  static constexpr const char* className = "BsExternlMediaAuthTiktokUploadFileRequest";
  static constexpr std::uint64_t limit = 52428800;
  static constexpr const char* limitText = "50MB";
  static constexpr const char* messageMember = "error_msg";
  static constexpr const char* logText = ", tiktok user info error code:";
};

struct Douyin {
  using Request = BsExternlMediaAuthDouyinUploadFileRequest;
  static constexpr int platform = ema_douyin;
  static constexpr int requestType = 11;
  static constexpr const char* name = "ExternlMediaAuthDouyinUpload";
  static constexpr const char* className = "BsExternlMediaAuthDouyinUploadFileRequest";
  static constexpr std::uint64_t limit = 134217728;
  static constexpr const char* limitText = "128MB";
  static constexpr const char* messageMember = "description";
  static constexpr const char* logText = ", Douyin user info error code:";
};

struct ServiceName {
  template <class Service>
  static std::string GetName(int) {
    return Service::platform == ema_tiktok ? "Tiktok" : "Douyin";
  }
};

template <class Service>
class OpenIdUpload : public OpenIdUploadFixture<typename Service::Request> {
 protected:
  OpenIdUpload() : OpenIdUploadFixture<typename Service::Request>(Service::platform) {
    // Any service refuses this, so that an upload which begins ends after one exchange.
    this->network_.reply(200, R"({"data":{"error_code":5}})");
  }

  /// The exchange is refused before anything is sent, and the frame reports it.
  void expectRefusal(int code, const std::string& message) {
    EXPECT_EQ(this->request(this->info_.get()), resultFailed);
    EXPECT_EQ(this->reply_.resultCode, code);
    EXPECT_EQ(this->reply_.errorMessage, message);
    this->run();
    EXPECT_EQ(this->code(), code);
    EXPECT_EQ(this->message(), message);
    EXPECT_EQ(this->text("upload_stop"), "(unset)");
    EXPECT_THAT(this->network_.exchanges(), IsEmpty());
    EXPECT_THAT(this->deliveries_.events(), IsEmpty());
  }

  int check(const std::string& content) {
    message_.clear();
    code_ = 77;
    Json::Value root;
    return this->request_->checkResponseValid(content, root, message_, code_);
  }

  std::string message_;
  int code_ = 0;
};

using Services = testing::Types<Tiktok, Douyin>;
TYPED_TEST_SUITE(OpenIdUpload, Services, ServiceName);

TYPED_TEST(OpenIdUpload, IsFixedAtConstruction) {
  EXPECT_EQ(this->request_->requestType(), TypeParam::requestType);
  EXPECT_STREQ(this->request_->getRequestName(), TypeParam::name);
  EXPECT_NE(this->request_->QueryInterfaceByName("BsExternlMediaAuthRequest"), nullptr);
}

// --- Before anything is sent

TYPED_TEST(OpenIdUpload, AnAccountThatIsUnsetIsRefused) {
  this->useFile(1);
  this->info_ = makeRef<BsExternlMediaUploadInfo>();
  this->set("upload_file_path", this->path_);
  this->expectRefusal(-10002, "account uid param invalid");
}

TYPED_TEST(OpenIdUpload, AnEmptyAccountIsNotUnset) {
  this->useFile(1);
  this->set("externlmedia_user_account_uid", "");
  this->run();
  ASSERT_THAT(this->network_.exchanges(), SizeIs(1));
  EXPECT_TRUE(this->network_.exchanges()[0].url.ends_with("open_id="));
}

TYPED_TEST(OpenIdUpload, WithoutATokenNothingIsSent) {
  this->useFile(1);
  this->manager_->onAccessToken = [] { return std::string(); };
  this->expectRefusal(140013, "access token param invalid");
}

TYPED_TEST(OpenIdUpload, TheAccountIsMissedBeforeTheTokenAndTheTokenBeforeTheFile) {
  this->info_ = makeRef<BsExternlMediaUploadInfo>();
  this->manager_->onAccessToken = [] { return std::string(); };
  this->run();
  EXPECT_EQ(this->code(), -10002);
  this->set("externlmedia_user_account_uid", "open-7");
  this->run();
  EXPECT_EQ(this->code(), 140013);
  this->manager_->onAccessToken = [] { return std::string("t"); };
  this->run();
  EXPECT_EQ(this->code(), -10023);
}

TYPED_TEST(OpenIdUpload, AMissingFileIsReportedWithItsPath) {
  this->usePath("/no/such/Fil\xC3\xA9.mp4");
  this->expectRefusal(-10023, "/no/such/Fil\xC3\xA9.mp4, not exist");
}

TYPED_TEST(OpenIdUpload, AnUnsetPathIsAMissingFile) {
  this->expectRefusal(-10023, ", not exist");
}

TYPED_TEST(OpenIdUpload, ADirectoryCannotBeOpened) {
  this->usePath(this->files_.path().string());
  this->expectRefusal(-10024, this->path_ + ", open failed");
}

TYPED_TEST(OpenIdUpload, AnEmptyFileIsRefused) {
  this->useFile(0);
  this->expectRefusal(-10025, this->path_ + ", empty file");
}

TYPED_TEST(OpenIdUpload, AFileOfExactlyTheLimitIsRefused) {
  this->useSparseFile(TypeParam::limit);
  this->expectRefusal(-10026, this->path_ + ", limit " + TypeParam::limitText);
}

TYPED_TEST(OpenIdUpload, AFileAboveFourGibibytesIsRefused) {
  this->useSparseFile((std::uint64_t{4} << 30) + 1);
  this->expectRefusal(-10026, this->path_ + ", limit " + TypeParam::limitText);
}

TYPED_TEST(OpenIdUpload, AFileOneByteBelowTheLimitIsSent) {
  this->useSparseFile(TypeParam::limit - 1);
  this->run();
  EXPECT_THAT(this->network_.exchanges(), SizeIs(1));
  EXPECT_EQ(this->code(), 5);
}

/// A record that can only be read.
class ReadOnlyRecord final : public BsInfoReader {
 public:
  void* QueryInterfaceByName(const char*) override { return nullptr; }
};

TYPED_TEST(OpenIdUpload, ARecordThatCannotBeWrittenFails) {
  this->useFile(1);
  const auto record = makeRef<ReadOnlyRecord>();
  EXPECT_EQ(this->request(record.get()), resultFailed);
  EXPECT_EQ(this->request(nullptr), resultFailed);
  EXPECT_EQ(this->reply_.resultCode, transportPending);
  EXPECT_THAT(this->network_.exchanges(), IsEmpty());
}

TYPED_TEST(OpenIdUpload, TheUploadsRecordIsTheReplyWhileItRuns) {
  this->useFile(1);
  IBsInfoReader* seen = nullptr;
  this->network_.onExchange([&](const SentExchange&) { seen = this->request_->replyInfo().get(); });
  this->run();
  EXPECT_EQ(seen, static_cast<IBsInfoReader*>(this->info_.get()));
}

TYPED_TEST(OpenIdUpload, ALongTokenIsTakenWhole) {
  this->useFile(1);
  this->manager_->onAccessToken = [] { return std::string(8192, 't'); };
  this->run();
  EXPECT_EQ(this->code(), 5);
  const std::string whole = "access_token=" + std::string(8192, 't') + "&";
  EXPECT_EQ(this->network_.exchanges().at(0).url.find(whole) != std::string::npos,
            TypeParam::platform == ema_tiktok);
}

// --- Answers

TYPED_TEST(OpenIdUpload, AnAnswerIsValidUnlessItsDataHoldsAnErrorCode) {
  for (const char* const content :
       {R"({"data":{"error_code":0}})", R"({"data":{}})", R"({"data":null})", R"({"error_code":7})", "{}"}) {
    EXPECT_EQ(this->check(content), 1) << content;
    EXPECT_EQ(this->code_, 0) << content;
    EXPECT_EQ(this->message_, "") << content;
  }
}

TYPED_TEST(OpenIdUpload, AnErrorCodeThatCannotBeReadIsARefusal) {
  const ScopedRecordingLogger log;
  for (const std::string content : {R"({"data":"text"})", R"({"data":[7]})", R"({"data":{"error_code":"7"}})",
                                    R"({"data":{"error_code":0.4}})", "[]"}) {
    EXPECT_EQ(this->check(content), 0) << content;
    EXPECT_EQ(this->code_, -10000) << content;
    EXPECT_EQ(this->message_, "can't read json. response:" + content);
    EXPECT_EQ(log->linesWith(",msg:" + this->message_ + ",content:").size(), 1U) << content;
  }
}

TYPED_TEST(OpenIdUpload, AnAnswerWithTextBehindItIsNoJson) {
  EXPECT_EQ(this->check(R"({"data":{"error_code":0}} x)"), 0);
  EXPECT_EQ(this->code_, 0);
  EXPECT_EQ(this->message_, R"(can't read json. response:{"data":{"error_code":0}} x)");
}

TYPED_TEST(OpenIdUpload, AnErrorIsReadWithTheServicesOwnMessage) {
  const ScopedRecordingLogger log;
  const std::string member = TypeParam::messageMember;
  EXPECT_EQ(this->check(R"({"data":{"error_code":10008,")" + member + R"(":"expired","other":"x"}})"), 0);
  EXPECT_EQ(this->code_, 10008);
  EXPECT_EQ(this->message_, "expired");
  EXPECT_THAT(log->linesWith(" error code:"), IsEmpty());
}

TYPED_TEST(OpenIdUpload, AnErrorWithoutAMessageOrWithOneOfAWrongTypeHasNone) {
  const std::string member = TypeParam::messageMember;
  EXPECT_EQ(this->check(R"({"data":{"error_code":-3}})"), 0);
  EXPECT_EQ(this->code_, -3);
  EXPECT_EQ(this->message_, "");
  EXPECT_EQ(this->check(R"({"data":{"error_code":4,")" + member + R"(":[1]}})"), 0);
  EXPECT_EQ(this->code_, 4);
  EXPECT_EQ(this->message_, "");
}

TYPED_TEST(OpenIdUpload, AnErrorCodeBeyondEveryRangeIsStillARefusal) {
  for (const char* const number : {"2147483648", "5000000000", "1e300", "18446744073709551615"}) {
    EXPECT_EQ(this->check(std::string(R"({"data":{"error_code":)") + number + "}}"), 0) << number;
    EXPECT_EQ(this->code_, std::numeric_limits<int>::max()) << number;
  }
  EXPECT_EQ(this->check(R"({"data":{"error_code":-5000000000}})"), 0);
  EXPECT_EQ(this->code_, std::numeric_limits<int>::min());
}

TYPED_TEST(OpenIdUpload, TheOtherServicesMessageIsNotRead) {
  EXPECT_EQ(this->check(TypeParam::platform == ema_tiktok ? R"({"data":{"error_code":4,"description":"d"}})"
                                                          : R"({"data":{"error_code":4,"error_msg":"d"}})"),
            0);
  EXPECT_EQ(this->message_, "");
}

TYPED_TEST(OpenIdUpload, AnAnswerThatIsNoJsonIsLoggedAndInvalidWithoutACode) {
  for (const std::string& content :
       {std::string(), std::string("oops"), std::string("7"), std::string("/* c */ {}"),
        std::string("{\"data\":"), std::string(4096, '[')}) {
    const ScopedRecordingLogger log;
    EXPECT_EQ(this->check(content), 0);
    EXPECT_EQ(this->code_, 0);
    EXPECT_EQ(this->message_, "can't read json. response:" + content);
    const auto lines = log->linesWith(TypeParam::logText);
    ASSERT_THAT(lines, SizeIs(1));
    EXPECT_EQ(lines[0].text, std::string(TypeParam::name) + TypeParam::logText + "0,msg:" + this->message_ +
                                 ",content:" + content + ", url: " + namedUrl);
    EXPECT_EQ(lines[0].severity, 4);
    EXPECT_EQ(lines[0].function, std::string("KBL::") + TypeParam::className + "::checkResponseValid");
    EXPECT_GT(lines[0].line, 0);
  }
}

TYPED_TEST(OpenIdUpload, AShareIdIsTheResultAndKeepsACopyOfTheRecord) {
  const auto error = makeRef<BsErrorInfo>();
  NetReply reply;
  this->set("upload_title", "kept");
  EXPECT_EQ(
      this->request_->parseEnvelope(this->info_.get(), R"({"data":{"share_id":"s"}})", error.get(), &reply),
      1);
  EXPECT_EQ(error->errorCode(), 0);
  EXPECT_EQ(this->request_->handleRequestData(this->request_.get(), this->info_.get(), error.get(), &reply),
            0);
  EXPECT_EQ(this->request_->replyInfo()->infoType(), 405);
  EXPECT_STREQ(this->request_->replyInfo()->charKeyConfig("upload_title"), "kept");
}

TYPED_TEST(OpenIdUpload, AnAnswerWithoutAShareIdIsReportedWithTheTransportsCode) {
  const auto error = makeRef<BsErrorInfo>();
  NetReply reply;
  reply.resultCode = 42;
  for (const char* const content :
       {R"({"data":{}})", R"({"data":{"share_id":[1]}})", R"({"share_id":"s"})", "{}"}) {
    EXPECT_EQ(this->request_->parseEnvelope(this->info_.get(), content, error.get(), &reply), 0) << content;
    EXPECT_EQ(error->errorCode(), 42);
    EXPECT_STREQ(error->errorMessage(), content);
    EXPECT_EQ(this->request_->handleRequestData(this->request_.get(), this->info_.get(), error.get(), &reply),
              1);
  }
}

TYPED_TEST(OpenIdUpload, AnAnswerIsReadEvenOverAnErrorThatStands) {
  const auto error = makeRef<BsErrorInfo>();
  error->setError(-10029, "read file error");
  NetReply reply;
  EXPECT_EQ(
      this->request_->parseEnvelope(this->info_.get(), R"({"data":{"share_id":"s"}})", error.get(), &reply),
      1);
  EXPECT_EQ(
      this->request_->parseEnvelope(this->info_.get(), R"({"data":{"error_code":6}})", error.get(), &reply),
      0);
  EXPECT_EQ(error->errorCode(), 6);
}

TYPED_TEST(OpenIdUpload, AResultIsForgottenWithTheNextAnswer) {
  const auto error = makeRef<BsErrorInfo>();
  NetReply reply;
  this->request_->parseEnvelope(this->info_.get(), R"({"data":{"share_id":"s"}})", error.get(), &reply);
  this->request_->parseEnvelope(this->info_.get(), "oops", error.get(), &reply);
  EXPECT_EQ(this->request_->handleRequestData(this->request_.get(), this->info_.get(), error.get(), &reply),
            1);
}
}  // namespace
