#include <BsNet/NetReply.h>

#include <gtest/gtest.h>

namespace {

TEST(HeaderName, IsFoundWithoutRegardToCase) {
  KBL::HeaderMap headers;
  headers["location"] = "here";

  EXPECT_EQ(headers.count("Location"), 1U);
  EXPECT_EQ(headers.at("LOCATION"), "here");
  headers["Location"] = "there";
  EXPECT_EQ(headers.size(), 1U);
}

TEST(HeaderName, OrderIsStrict) {
  const KBL::HeaderNameLess less;

  EXPECT_TRUE(less("a", "B"));
  EXPECT_FALSE(less("B", "a"));
  EXPECT_FALSE(less("x-A", "X-a"));
  EXPECT_FALSE(less("X-a", "x-A"));
  EXPECT_TRUE(less("", "a"));
  EXPECT_TRUE(less("a", "aa"));
  EXPECT_TRUE(less("z", "\xc3\xa4"));
  EXPECT_FALSE(less("\xc3\xa4", "z"));
}

TEST(HeaderName, ReplyStartsUnwritten) {
  const KBL::NetReply reply;

  EXPECT_EQ(reply.httpCode, -1);
  EXPECT_EQ(reply.resultCode, 1000);
}

}  // namespace
