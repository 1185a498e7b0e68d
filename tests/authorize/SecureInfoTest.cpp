#include "authorize/managerLog.h"
#include "support/RecordingLogger.h"

#include <gtest/gtest.h>

using namespace KBL;

TEST(SecureInfo, TenCharactersLoseTheThreeInTheMiddle) {
  EXPECT_EQ(secureInfoText("tag", "abcdefghij"), "tag:abc***ghij");
}

TEST(SecureInfo, SevenCharactersLoseTheTwoInTheMiddle) {
  EXPECT_EQ(secureInfoText("tag", "abcdefg"), "tag:ab**efg");
}

TEST(SecureInfo, OneOrTwoCharactersStayReadable) {
  EXPECT_EQ(secureInfoText("tag", "a"), "tag:a");
  EXPECT_EQ(secureInfoText("tag", "ab"), "tag:ab");
  EXPECT_EQ(secureInfoText("tag", "abc"), "tag:a*c");
}

TEST(SecureInfo, AnEmptySecretGivesAnEmptyText) {
  EXPECT_EQ(secureInfoText("tag", ""), "");
}

TEST(SecureInfo, PrintsTheSameTextUnderItsOwnName) {
  const ScopedRecordingLogger logger;
  printSecureInfo("ema_youtube.1access token:", "abcdefghij");
  const auto lines = logger->lines();
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_EQ(lines[0].text, "ema_youtube.1access token::abc***ghij");
  EXPECT_EQ(lines[0].severity, IBsLogger::severityInfo);
  EXPECT_EQ(lines[0].function, "KBL::printSecureInfo");
  EXPECT_GT(lines[0].line, 0);
}

TEST(SecureInfo, PrintsNothingForAnEmptySecret) {
  const ScopedRecordingLogger logger;
  printSecureInfo("tag", "");
  EXPECT_TRUE(logger->lines().empty());
}
