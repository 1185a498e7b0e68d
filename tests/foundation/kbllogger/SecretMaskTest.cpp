#include "foundation/KblLogger/LogSinks.h"
#include "support/Seed.h"

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

using KBL::maskSecrets;

namespace {

struct Masked {
  std::string text;
  std::string expected;
};

void expectMasked(const std::vector<Masked>& rows) {
  for (const Masked& row : rows) EXPECT_EQ(maskSecrets(row.text), row.expected);
}

void expectUnchanged(const std::vector<std::string>& texts) {
  for (const std::string& text : texts) EXPECT_EQ(maskSecrets(text), text);
}

}  // namespace

TEST(SecretMask, HidesQueryParameters) {
  expectMasked({
      {"https://h/p?access_token=ya29.a-b_c&x=1", "https://h/p?access_token=***&x=1"},
      {"https://h/p?x=1&refresh_token=1//0g", "https://h/p?x=1&refresh_token=***"},
      {"token=abc", "token=***"},
      {"https://h/cb?state=s&code=4/0AY-x#end", "https://h/cb?state=s&code=***#end"},
      {"client_secret=GOCSPX-1&app_secret=two", "client_secret=***&app_secret=***"},
      {"oauth_verifier=a&code_verifier=b&x=1", "oauth_verifier=***&code_verifier=***&x=1"},
      {"oauth_token=a&oauth_token_secret=b", "oauth_token=***&oauth_token_secret=***"},
      {"POST body grant_type=x&auth_code=q&open_id=o-1 sent",
       "POST body grant_type=x&auth_code=***&open_id=*** sent"},
      {"(https://h?token=abc) next", "(https://h?token=*** next"},
      {"a?token=abc\nb?token=def", "a?token=***\nb?token=***"},
      {"'https://h?token=abc'", "'https://h?token=***'"},
  });
}

TEST(SecretMask, TakesNamesInAnyCase) {
  expectMasked({
      {"ACCESS_TOKEN=abc", "ACCESS_TOKEN=***"},
      {"accessToken=abc", "accessToken=***"},
      {"{\"Refresh_Token\": \"abc\"}", "{\"Refresh_Token\": \"***\"}"},
      {"AUTHORIZATION: BEARER abc", "AUTHORIZATION: BEARER ***"},
  });
}

TEST(SecretMask, HidesParametersInsideAnEncodedAddress) {
  expectMasked({
      {"redirect=https%3A%2F%2Fh%3Fcode%3D4-abc%26state%3Ds",
       "redirect=https%3A%2F%2Fh%3Fcode%3D***%26state%3Ds"},
      {"x=a%26access_token%3dabc&y=2", "x=a%26access_token%3d***&y=2"},
  });
}

TEST(SecretMask, HidesJsonMembers) {
  expectMasked({
      {R"({"access_token":"abc","expires_in":3600})", R"({"access_token":"***","expires_in":3600})"},
      {R"({"refresh_token" : "a\"b\\", "x":"y"})", R"({"refresh_token" : "***", "x":"y"})"},
      {R"({"code":"4/abc"})", R"({"code":"***"})"},
      {R"({"client_secret":"s","open_id":"o","app_secret":"q"})",
       R"({"client_secret":"***","open_id":"***","app_secret":"***"})"},
      {R"({'access_token': 'abc'})", R"({'access_token': '***'})"},
      {R"("{\"token\":\"a\\\"b\\\\\",\"x\":\"y\"}")", R"("{\"token\":\"***\",\"x\":\"y\"}")"},
      {R"({"token":"never closed)", R"({"token":"***)"},
      {R"("{\"access_token\":\"abc\",\"x\":\"y\"}")", R"("{\"access_token\":\"***\",\"x\":\"y\"}")"},
  });
}

TEST(SecretMask, HidesBearersAndOtherCredentials) {
  expectMasked({
      {"Authorization: Bearer ya29.abc", "Authorization: Bearer ***"},
      {"authorization: bearer  abc, next", "authorization: bearer  ***, next"},
      {R"({"Authorization": "Bearer abc"})", R"({"Authorization": "Bearer ***"})"},
      {"sent Bearer abc=", "sent Bearer ***"},
      {"Proxy-Authorization: Basic dXNlcjpw", "Proxy-Authorization: ***"},
      {"Authorization: OAuth realm=\"x\"", "Authorization: ***\"x\""},
  });
}

TEST(SecretMask, HidesTheStoredLoginsOfScripts) {
  expectMasked({
      {"py_msg: mt1.eNqLVkpLTE5N_ys-PVt", "py_msg: mt1.***"},
      {"token \"mt1.abc\" given", "token \"mt1.***\" given"},
  });
  expectUnchanged({"mt1 alone", "amt1.abc", "mt1.***"});
}

TEST(SecretMask, LeavesWhatIsMaskedAlready) {
  expectUnchanged({
      "access_token=abc***hij!",
      "token=***",
      R"({"refresh_token":"ab**efg"})",
      "Authorization: Bearer ***",
      "Bearer ab**efg",
      "ema_youtube.1, refresh token:abc***hij!",
  });
  const std::string once = maskSecrets("https://h?access_token=abc&code=def Bearer ghi {\"token\":\"jkl\"}");
  EXPECT_EQ(maskSecrets(once), once);
}

TEST(SecretMask, StarsInTheWrongPlaceHideNothing) {
  expectMasked({
      {"token=*secret-secret", "token=***"},
      {"token=secret*secret", "token=***"},
      {"token=**", "token=***"},
  });
}

TEST(SecretMask, LeavesEverythingElse) {
  expectUnchanged({
      "",
      "plain words about a token and a code",
      "error code=140013, text",
      R"({"code":0,"msg":"token expired"})",
      R"({"code":"-10003"})",
      "is_callback_token: 1",
      "token=",
      R"({"access_token":""})",
      R"({"access_token":null})",
      "barcode=abc",
      "tokens=5",
      "the bearer",
      "Authorization",
      "100% of %3",
      "\xE6\xB5\x8B=\xE8\xAF\x95",
  });
}

TEST(SecretMask, NoTextMakesItFailOrForget) {
  std::mt19937_64 random = seededGenerator();
  const std::vector<std::string> pieces = {"token",
                                           "=",
                                           "%3D",
                                           "\"",
                                           "'",
                                           ":",
                                           "\\",
                                           "Bearer",
                                           " ",
                                           "code",
                                           "Authorization",
                                           "&",
                                           "***",
                                           "x",
                                           "\n",
                                           "{",
                                           "}",
                                           std::string(1, '\0'),
                                           "\xFF"};
  constexpr int rounds = 20'000;
  for (int round = 0; round < rounds; ++round) {
    std::string text;
    const std::size_t count = random() % 12;
    for (std::size_t piece = 0; piece < count; ++piece) text += pieces[random() % pieces.size()];

    const std::string masked = maskSecrets(text);

    ASSERT_EQ(masked.find("SECRET"), std::string::npos);
    ASSERT_EQ(maskSecrets(text + "&access_token=SECRET").find("SECRET"), std::string::npos) << text;
  }
}

TEST(SecretMask, LongTextsTakeLinearTime) {
  std::string text;
  for (int count = 0; count < 100'000; ++count) text += "token\"\"\"\\ bearer";
  const auto begin = std::chrono::steady_clock::now();

  (void)maskSecrets(text);

  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(20));
}
