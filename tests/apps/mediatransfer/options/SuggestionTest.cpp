#include "options/Suggestion.h"

#include <gtest/gtest.h>

using host::didYouMean;
using host::nearest;

TEST(Suggestion, IsTheWordThatFewLettersTellApart) {
  const std::vector<std::string> commands{"login", "logout", "upload", "download"};
  EXPECT_EQ(nearest("upolad", commands), "upload");
  EXPECT_EQ(nearest("logn", commands), "login");
  EXPECT_EQ(nearest("LOGOUT", commands), "logout");
  EXPECT_EQ(nearest("donwload", commands), "download");
}

TEST(Suggestion, IsTheFirstOfThoseThatAreEquallyNear) {
  EXPECT_EQ(nearest("lag", {"log", "leg"}), "log");
}

TEST(Suggestion, IsNoneForWhatIsLikeNothing) {
  EXPECT_EQ(nearest("dance", {"login", "upload"}), "");
  EXPECT_EQ(nearest("", {"a", "bc"}), "");
  EXPECT_EQ(nearest("x", {"a", "bc"}), "");
  EXPECT_EQ(nearest(std::string(100000, 'x'), {"login"}), "");
  EXPECT_EQ(nearest("login", {}), "");
}

TEST(Suggestion, IsAskedInBrackets) {
  EXPECT_EQ(didYouMean("youtub", {"youtube"}), " (did you mean youtube?)");
  EXPECT_EQ(didYouMean("betamax", {"youtube"}), "");
}
