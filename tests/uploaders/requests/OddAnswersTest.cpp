// Answers of every JSON type at every place of the uploads to TikTok and to Douyin.
#include "uploaders/requests/OpenIdUploadFixture.h"

#include <limits>

using namespace KBL;

namespace {
constexpr int highest = std::numeric_limits<int>::max();
constexpr int lowest = std::numeric_limits<int>::min();

constexpr int notRead = ErrorCode::replyNotRead;

/// JSON text in the place of a service's code, and the code that it reads as.
struct OddCode {
  const char* json;
  int code;
};
constexpr OddCode oddCodes[] = {
    {"null", 0},
    {"true", notRead},
    {"\"7\"", notRead},
    {"\"\\u0000\"", notRead},
    {"[7]", notRead},
    {"{\"n\":7}", notRead},
    {"0", 0},
    {"-0.0", 0},
    {"7", 7},
    {"-7", -7},
    {"7.9", notRead},
    {"0.4", notRead},
    {"2147483648", highest},
    {"1e300", highest},
    {"-1e300", lowest},
    {"99999999999999999999999999", highest},
};

/// JSON text in the place of an id, and the text that the record keeps of it; null where it is no id.
struct OddId {
  const char* json;
  const char* text;
};
constexpr OddId oddIds[] = {
    {"\"s\"", "s"},
    {"7", "7"},
    {"-7", "-7"},
    {"18446744073709551615", "18446744073709551615"},
    {"\"\"", nullptr},
    {"null", nullptr},
    {"false", nullptr},
    {"1.5", nullptr},
    {"1e300", nullptr},
    {"[]", nullptr},
    {"{\"a\":1}", nullptr},
    {"\"a\\u0000b\"", "a"},
    {"\"\xFF\xFE\"", "\xFF\xFE"},
};

/// Whole bodies that are no answer: no JSON at all, or JSON whose root or "data" is of a wrong type.
const std::vector<std::string>& strayBodies() {
  static const std::vector<std::string> bodies{"",
                                               "null",
                                               "7",
                                               "\"text\"",
                                               "[]",
                                               "[{\"data\":{}}]",
                                               "{",
                                               "{\"data\":",
                                               "{\"data\":null}",
                                               "{\"data\":[1]}",
                                               "{\"data\":\"s\"}",
                                               "{\"data\":1e300}",
                                               "{\"data\":{\"share_id\":",
                                               std::string("\0\0\0", 3),
                                               std::string("{}\0x", 4),
                                               "\xFF\xFE{}",
                                               std::string(100000, '['),
                                               std::string(100000, ' '),
                                               "{\"data\":{\"error_code\":1e999}}"};
  return bodies;
}

/// Those of them that are JSON with a root or "data" that cannot hold a code.
bool hidesItsCode(const std::string& body) {
  return body.starts_with("[]") || body.starts_with("[{") || body == "{\"data\":[1]}" ||
         body == "{\"data\":\"s\"}" || body == "{\"data\":1e300}";
}

std::string answerWith(const std::string& member, const std::string& json) {
  return R"({"data":{"upload_id":"up-1",")" + member + "\":" + json + "}}";
}

std::string publishedWithCode(const char* code) {
  return std::string(R"({"data":{"share_id":"s","upload_id":"up-1","error_code":)") + code + "}}";
}

TEST_F(TiktokUpload, CodesOfEveryTypeEndTheUpload) {
  useFile(1);
  for (const OddCode& odd : oddCodes) {
    SCOPED_TRACE(odd.json);
    network_.clear();
    network_.reply(200, publishedWithCode(odd.json));
    run();
    EXPECT_EQ(code(), odd.code);
    EXPECT_EQ(text("upload_stop"), odd.code == 0 ? "upload_success" : "upload_error");
  }
}

TEST_F(TiktokUpload, ShareIdsOfEveryTypeEndTheUpload) {
  useFile(1);
  for (const OddId& odd : oddIds) {
    SCOPED_TRACE(odd.json);
    info_ = makeRef<BsExternlMediaUploadInfo>();
    set("externlmedia_user_account_uid", "open-7");
    usePath(path_);
    network_.clear();
    network_.reply(200, answerWith("share_id", odd.json));
    run();
    EXPECT_EQ(code(), 0);
    EXPECT_EQ(text("upload_stop"), odd.text == nullptr ? "upload_error" : "upload_success");
    EXPECT_EQ(text("upload_video_url"), odd.text == nullptr ? "(unset)" : odd.text);
  }
}

TEST_F(TiktokUpload, StrayBodiesFailTheUpload) {
  useFile(1);
  for (const std::string& body : strayBodies()) {
    SCOPED_TRACE(body.substr(0, 40));
    network_.clear();
    network_.reply(200, body);
    run();
    EXPECT_EQ(text("upload_stop"), "upload_error");
    EXPECT_EQ(text("upload_video_url"), "(unset)");
    network_.clear();
    network_.reply(503, body);
    run();
    EXPECT_EQ(code(), 503);
  }
}

/// Which of Douyin's three steps gets the odd answer.
class DouyinOddAnswers : public DouyinUpload, public testing::WithParamInterface<int> {
 protected:
  /// One upload of one part; returns how many exchanges it took.
  std::size_t uploadWith(const std::string& odd) {
    network_.clear();
    info_->setCharKeyConfig("upload_stop", "");
    request_->parseEnvelope(info_.get(), "", request_->errorInfo().get(), &reply_);  // forgets the last one's
    if (GetParam() > 0) replyOpened();
    if (GetParam() > 1) replyAccepted();
    if (GetParam() == 1) {
      for (int tries = 0; tries < 3; ++tries) network_.reply(200, odd);
      replyCompleted();
    } else {
      network_.reply(200, odd);
    }
    run();
    return network_.exchanges().size();
  }
};

TEST_P(DouyinOddAnswers, CodesOfEveryTypeEndTheUpload) {
  useFile(1);
  for (const OddCode& odd : oddCodes) {
    SCOPED_TRACE(odd.json);
    const std::size_t exchanges = uploadWith(publishedWithCode(odd.json));
    if (GetParam() == 0) {
      EXPECT_EQ(exchanges, odd.code == 0 ? 3U : 1U);
    } else if (GetParam() == 1 && odd.code != 0) {
      EXPECT_EQ(exchanges, 5U);
    } else if (GetParam() == 2) {
      EXPECT_EQ(exchanges, 3U);
      EXPECT_EQ(text("upload_stop"), odd.code == 0 ? "upload_success" : "upload_error");
    }
    EXPECT_EQ(code(), GetParam() == 1 ? 0 : odd.code);
  }
}

TEST_P(DouyinOddAnswers, IdsOfEveryTypeEndTheUpload) {
  useFile(1);
  for (const char* const member : {"upload_id", "share_id", "video_id", "description"}) {
    for (const OddId& odd : oddIds) {
      SCOPED_TRACE(std::string(member) + " " + odd.json);
      (void)uploadWith(answerWith(member, odd.json));
      EXPECT_EQ(text("upload_stop"), "upload_success");
      EXPECT_EQ(text("upload_video_url"), "");
      EXPECT_EQ(code(), 0);
    }
  }
}

TEST_P(DouyinOddAnswers, StrayBodiesEndTheUpload) {
  useFile(1);
  for (const std::string& body : strayBodies()) {
    SCOPED_TRACE(body.substr(0, 40));
    const std::size_t exchanges = uploadWith(body);
    EXPECT_LE(exchanges, 5U);
    if (GetParam() > 0) {
      EXPECT_EQ(network_.exchanges().back().url, completeAddress());
    }
    EXPECT_EQ(code(), GetParam() != 1 && hidesItsCode(body) ? notRead : 0);
  }
}

INSTANTIATE_TEST_SUITE_P(Steps, DouyinOddAnswers, testing::Values(0, 1, 2), [](const auto& test) {
  return std::string(test.param == 0 ? "Opening" : test.param == 1 ? "Part" : "Completion");
});
}  // namespace
