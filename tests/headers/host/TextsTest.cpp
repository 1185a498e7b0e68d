#include <ExternlMediaTransfer/host/Failure.h>
#include <ExternlMediaTransfer/host/Texts.h>

#include <gmock/gmock.h>

using KBL::host::Failure;
using KBL::host::putText;
using KBL::host::textIn;

namespace {

TEST(HostTexts, FitWithTheirTerminatorOrNotAtAll) {
  char field[4] = "xyz";
  EXPECT_TRUE(putText("abc", field));
  EXPECT_STREQ(field, "abc");
  EXPECT_FALSE(putText("abcd", field));
  EXPECT_FALSE(putText(std::string_view("a\0b", 3), field));
  EXPECT_STREQ(field, "abc");
  EXPECT_TRUE(putText("", field));
  EXPECT_STREQ(field, "");
}

TEST(HostTexts, AreReadUpToTheirTerminatorOrTheFieldsEnd) {
  const char short_[4] = {'a', '\0', 'b', '\0'};
  const char full[2] = {'a', 'b'};
  EXPECT_EQ(textIn(short_), "a");
  EXPECT_EQ(textIn(full), "ab");
}

TEST(HostTexts, OfUtf16BecomeUtf8) {
  const char16_t all[] = u"a\u00e9\u20ac\U0001F3AC\u07ff\u0800\uffff";
  EXPECT_EQ(textIn(all), "a\xc3\xa9\xe2\x82\xac\xf0\x9f\x8e\xac\xdf\xbf\xe0\xa0\x80\xef\xbf\xbf");
  const char16_t halves[4] = {0xD83C, u'x', 0xDFAC, 0xD83C};
  EXPECT_EQ(textIn(halves), "\xef\xbf\xbdx\xef\xbf\xbd\xef\xbf\xbd");
}

TEST(HostFailure, ReadsTheTextOfAnEvent) {
  const Failure failure = Failure::fromEvent("-10007,User cancelled!");
  EXPECT_EQ(failure.code, -10007);
  EXPECT_EQ(failure.message, "User cancelled!");
  EXPECT_EQ(Failure::fromEvent("231500,a,b").message, "a,b");
  EXPECT_TRUE(static_cast<bool>(Failure::fromEvent("no number")));
  EXPECT_EQ(Failure::fromEvent("no number").message, "no number");
  EXPECT_FALSE(static_cast<bool>(Failure{}));
}

}  // namespace
