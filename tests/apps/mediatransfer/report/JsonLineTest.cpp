#include "report/JsonLine.h"

#include <gtest/gtest.h>

namespace host {
namespace {

TEST(JsonLine, KeepsTheOrderOfTheCalls) {
  EXPECT_EQ(JsonLine("error").number("code", -10021).text("text", "x").line(),
            "{\"event\":\"error\",\"code\":-10021,\"text\":\"x\"}\n");
}

TEST(JsonLine, EscapesWhatJsonAsksFor) {
  EXPECT_EQ(JsonLine("e").text("t", "\"\\\n\t\r\x01\x1F/").line(),
            "{\"event\":\"e\",\"t\":\"\\\"\\\\\\n\\t\\r\\u0001\\u001f/\"}\n");
}

TEST(JsonLine, BytesThatAreNoUtf8BecomeTheReplacementCharacter) {
  EXPECT_EQ(JsonLine("e").text("t", "a\xFF\xC3").line(),
            "{\"event\":\"e\",\"t\":\"a\xEF\xBF\xBD\xEF\xBF\xBD\"}\n");
}

TEST(JsonLine, LeavesOutWhatIsNotKnown) {
  EXPECT_EQ(JsonLine("user").textIfKnown("account", "").textIfKnown("name", "Ada").line(),
            "{\"event\":\"user\",\"name\":\"Ada\"}\n");
}

TEST(JsonLine, TakesJsonAsItIs) {
  EXPECT_EQ(JsonLine("e").json("config", "{\"a\":1}").line(), "{\"event\":\"e\",\"config\":{\"a\":1}}\n");
}

}  // namespace
}  // namespace host
