#include "host/ScriptToken.h"

#include <gtest/gtest.h>

using host::readScriptToken;

namespace {

// As the script package makes them.
constexpr const char* ofFlickr =
    "mt1.eNqLVkrLyUzOLlLSUUpMTk4tLtYtyc9OzQNygQjM1C1OTS5KLVHSMQBCJUMHPwOgjGNKokLg4T2ZOTlKsQDVMBUa";
constexpr const char* ofFacebook = "mt1.eNqLVkpLTE5Nys_PVtJRcnV0dAJSRUCspGNoaQAFOgYgvpJSLAAORgpU";
constexpr const char* deep =
    "mt1.eNrtwTEBAAAAwqCg69_DGh5AAQAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAA"
    "AAAAAAAAAHwZbQxU_g";
constexpr const char* withAnOddTime = "mt1.eNqLVkpLTE5Nys_PVtJRSgRiMLJMtbTUMYBwYgGrKQhg";

}  // namespace

TEST(ScriptToken, HasTheAccessTokenAndItsSecret) {
  const auto token = readScriptToken(ofFlickr, "flickr");
  ASSERT_TRUE(token);
  EXPECT_EQ(token->access, "access-token");
  EXPECT_EQ(token->secret, "token-secret");
  EXPECT_EQ(token->expires, 0);
}

TEST(ScriptToken, TellsWhenItEnds) {
  const auto token = readScriptToken(ofFacebook, "facebook");
  ASSERT_TRUE(token);
  EXPECT_EQ(token->access, "EAAB");
  EXPECT_EQ(token->expires, 1900000000);
}

TEST(ScriptToken, OfAnotherPlatformIsNone) {
  EXPECT_FALSE(readScriptToken(ofFlickr, "facebook"));
}

TEST(ScriptToken, WhatIsDamagedIsNone) {
  const std::string whole = ofFacebook;
  for (std::size_t length = 0; length < whole.size(); ++length) {
    EXPECT_FALSE(readScriptToken(whole.substr(0, length), "facebook")) << length;
  }
  for (const std::string& text : {"mt2." + whole.substr(4), whole.substr(4), std::string("mt1.!!!!"),
                                  std::string(deep), std::string(withAnOddTime)}) {
    EXPECT_FALSE(readScriptToken(text, "facebook")) << text;
  }
}
