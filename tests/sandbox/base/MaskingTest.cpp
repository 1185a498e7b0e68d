#include "sandbox/base/Masking.h"

#include <gmock/gmock.h>

namespace {

using sandbox::maskedHead;
using sandbox::maskedText;
using sandbox::readableText;
using testing::HasSubstr;

TEST(Masking, KeepsTheBeginningOfTheSandboxsOwnTokens) {
  EXPECT_EQ(maskedText("token sbx-access-Ab12Cd34 is good"), "token sbx-access-Ab12\xE2\x80\xA6 is good");
  EXPECT_EQ(maskedText("sbx-code-QRSTuv&state=a"), "sbx-code-QRST\xE2\x80\xA6&state=a");
  EXPECT_EQ(maskedText("sbx-access-Ab"), "sbx-access-Ab");
}

TEST(Masking, HidesSecretsOfAddressesAndForms) {
  EXPECT_EQ(maskedText("/cb?code=QWERTY&state=s"), "/cb?code=***&state=s");
  EXPECT_EQ(maskedText("client_id=7&client_secret=hush"), "client_id=7&client_secret=***");
  EXPECT_EQ(maskedText("access_token=sbx-access-Ab12Cd34&x=1"),
            "access_token=sbx-access-Ab12\xE2\x80\xA6&x=1");
  EXPECT_EQ(maskedText("my_code=7&barcode=8"), "my_code=7&barcode=8");
}

TEST(Masking, HidesSecretsOfJsonEvenWhenItIsCutOff) {
  EXPECT_EQ(maskedText(R"({"app_secret" : "hu\"sh", "code": 0, "msg":"code"})"),
            R"({"app_secret" : "***", "code": 0, "msg":"code"})");
  EXPECT_EQ(maskedText(R"({"refresh_token":"hus)"), R"({"refresh_token":"***)");
  EXPECT_EQ(maskedText(R"({"password":"ab\)"), R"({"password":"***)");
}

TEST(Masking, HidesSecretsOfForms) {
  const std::string form =
      "--b\r\nContent-Disposition: form-data; name=\"access_token\"\r\n\r\nhush\r\n--b\r\n"
      "Content-Disposition: form-data; name=\"title\"\r\n\r\nSea\r\n--b--\r\n";

  const std::string masked = maskedText(form);

  EXPECT_THAT(masked, HasSubstr("name=\"access_token\"\r\n\r\n***\r\n--b\r\n"));
  EXPECT_THAT(masked, HasSubstr("\r\n\r\nSea\r\n"));
}

TEST(Masking, OfHeadersKeepsTheSchemeAlone) {
  EXPECT_EQ(maskedHead("GET /a?sig=1f HTTP/1.1",
                       {{"Authorization", "Bearer hush"}, {"cookie", "a=b"}, {"X-App-Secret", "hush"}}),
            "GET /a?sig=*** HTTP/1.1\nAuthorization: Bearer ***\ncookie: ***\nX-App-Secret: ***\n");
  EXPECT_EQ(
      maskedHead("GET / HTTP/1.1", {{"Authorization", "OAuth oauth_token=\"t\", oauth_version=\"1.0\""}}),
      "GET / HTTP/1.1\nAuthorization: OAuth oauth_token=\"***\", oauth_version=\"1.0\"\n");
  EXPECT_EQ(maskedHead("GET / HTTP/1.1", {{"Authorization", "Bearer sbx-access-Ab12Cd34"}}),
            "GET / HTTP/1.1\nAuthorization: Bearer sbx-access-Ab12\xE2\x80\xA6\n");
  EXPECT_EQ(maskedHead("HTTP/1.1 302 Found\r\nLocation: http://h/?code=abc\r\nSet-Cookie: s=1"),
            "HTTP/1.1 302 Found\nLocation: http://h/?code=***\nSet-Cookie: ***\n");
}

TEST(Masking, ShowsBytesThatAreNoTextAsTheirNumber) {
  EXPECT_EQ(readableText("Stra\xC3\x9F"
                         "e\r\n"),
            "Stra\xC3\x9F"
            "e\r\n");
  EXPECT_EQ(readableText(std::string_view("\x00\x01"
                                          "abc\xFF\xFF",
                                          7)),
            "[7 bytes]");
  EXPECT_EQ(readableText("\xC3"), "[1 bytes]");
  const std::string header = "Content-Disposition: form-data; name=\"video\"\r\n\r\n";
  EXPECT_EQ(readableText(header + std::string(300, '\x02')), header + "[300 bytes]");
  EXPECT_EQ(readableText(""), "");
}

}  // namespace
