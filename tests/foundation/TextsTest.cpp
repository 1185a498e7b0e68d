#include "foundation/Texts.h"

#include <gtest/gtest.h>

#include <iterator>

namespace KBL {
namespace {

TEST(Texts, NullReadsAsEmpty) {
  EXPECT_STREQ(textOrEmpty(nullptr), "");
  EXPECT_STREQ(textOrEmpty("a"), "a");
}

TEST(Texts, NullAndEmptyHoldNoText) {
  EXPECT_FALSE(hasText(nullptr));
  EXPECT_FALSE(hasText(""));
  EXPECT_TRUE(hasText("a"));
}

TEST(Texts, LowerCaseChangesTheLettersOfAsciiAlone) {
  EXPECT_EQ(lowerCase(std::string_view("@AZ[`az{ \xC3\x84\xC0")), "@az[`az{ \xC3\x84\xC0");
}

TEST(Texts, ATextReadsLikeAnotherOfItsLengthWhateverItsCase) {
  EXPECT_TRUE(readsLike("HtTpS", "https"));
  EXPECT_FALSE(readsLike("http", "https"));
  EXPECT_FALSE(readsLike("https:", "https"));
  EXPECT_FALSE(readsLike("HTTPS", "HTTPS"));
}

TEST(Texts, LettersAndDigitsAreThoseOfAscii) {
  int found = 0;
  for (int letter = 0; letter < 256; ++letter) found += isLetterOrDigit(static_cast<char>(letter)) ? 1 : 0;
  EXPECT_EQ(found, 26 + 26 + 10);
  for (const char letter : std::string_view("azAZ09")) EXPECT_TRUE(isLetterOrDigit(letter)) << letter;
}

TEST(Texts, EveryByteIsWrittenAsTwoDigitsThatReadAsIt) {
  for (int byte = 0; byte < 256; ++byte) {
    std::string text;
    writeHex(std::back_inserter(text), static_cast<unsigned char>(byte));
    ASSERT_EQ(text.size(), 2U);
    EXPECT_EQ(hexValue(text[0]) * 16 + hexValue(text[1]), byte);
    EXPECT_EQ(lowerCase(std::string_view(text)), text);
  }
}

TEST(Texts, HexDigitsComeInEitherCase) {
  std::string text;
  writeHex(std::back_inserter(text), 0xAF, upperHexDigits);
  EXPECT_EQ(text, "AF");
  EXPECT_EQ(hexValue('f'), 15);
  EXPECT_EQ(hexValue('F'), 15);
  EXPECT_EQ(hexValue('g'), -1);
  EXPECT_EQ(hexValue('\0'), -1);
}

}  // namespace
}  // namespace KBL
