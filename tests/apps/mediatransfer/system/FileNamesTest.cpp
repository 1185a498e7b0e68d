#include "system/FileNames.h"

#include <gtest/gtest.h>

#include <string>

namespace host {
namespace {

TEST(SafeFileName, LeavesOrdinaryNamesAlone) {
  for (const char* name :
       {"a.jpg", "Bild ü (2).jpeg", "2024-05-01 12h.mp4", "東京.png", "com10.jpg", "console.mp4"}) {
    EXPECT_EQ(safeFileName(name), name);
  }
}

TEST(SafeFileName, LeadsOutOfNoFolder) {
  EXPECT_EQ(safeFileName("../../etc/passwd"), "_._.._etc_passwd");
  EXPECT_EQ(safeFileName("c:\\x"), "c__x");
  EXPECT_EQ(safeFileName(".."), "_");
  EXPECT_EQ(safeFileName("."), "_");
  EXPECT_EQ(safeFileName(""), "_");
}

TEST(SafeFileName, HasNothingThatSystemsOrTerminalsTakeAmiss) {
  EXPECT_EQ(safeFileName("a\tb\nc\x1b[2J\x7f.jpg"), "a_b_c_[2J_.jpg");
  EXPECT_EQ(safeFileName("gnp.\u202Eexe\u200B"), "gnp._exe_");
  EXPECT_EQ(safeFileName("what?<is>*\"this|.jpg"), "what__is___this_.jpg");
  EXPECT_EQ(safeFileName("bad\xff\xfe.jpg"), "bad\uFFFD\uFFFD.jpg");
  EXPECT_EQ(safeFileName("trailing. . "), "trailing");
  EXPECT_EQ(safeFileName(" -rf.jpg"), "_rf.jpg");
  EXPECT_EQ(safeFileName(".hidden"), "_hidden");
}

TEST(SafeFileName, NamesNoDevice) {
  for (const char* name : {"CON", "nul.jpg", "Com1.tar.gz", "lpt9 .txt", "aux.", "COM\u00B9.jpg", "conin$"}) {
    EXPECT_EQ(safeFileName(name).front(), '_') << name;
  }
}

TEST(SafeFileName, IsShortAndKeepsItsEndingAndItsLetters) {
  const std::string name = safeFileName(std::string(500, 'x') + ".jpg");
  EXPECT_EQ(name.size(), 200U);
  EXPECT_TRUE(name.ends_with("x.jpg"));
  std::string many;
  for (int i = 0; i < 300; ++i) many += "ü";
  EXPECT_EQ(safeFileName(many + ".jpg").size(), 200U);
  EXPECT_EQ(safeFileName("x" + many).size(), 199U);
}

TEST(SafeFileName, TakesItsOwnNames) {
  const std::string tail(500, 'x');
  for (const std::string& text :
       {std::string("../x"), std::string("CON"), std::string(" a. "), std::string("-"), std::string("\x01"),
        std::string("x.."), "nul." + tail + ".jpg", tail}) {
    const std::string name = safeFileName(text);
    EXPECT_EQ(safeFileName(name), name) << text;
  }
}

TEST(FoldedFileName, IsTheSameForNamesThatDifferInCase) {
  EXPECT_EQ(foldedFileName("BILD \u00DC.JPG"), foldedFileName("bild \u00FC.jpg"));
  EXPECT_EQ(foldedFileName("\u0410\u03A9"), foldedFileName("\u0430\u03C9"));
  EXPECT_NE(foldedFileName("a.jpg"), foldedFileName("b.jpg"));
}

TEST(NumberedFileName, NumbersInFrontOfTheEnding) {
  EXPECT_EQ(numberedFileName("a.b.jpg", 2), "a.b (2).jpg");
  EXPECT_EQ(numberedFileName("a", 10), "a (10)");
}

TEST(NumberedFileName, IsSafeForTheLongestNames) {
  std::string letters;
  for (int i = 0; i < 300; ++i) letters += "ü";
  for (const std::string& text : {std::string(500, 'x') + ".jpg", letters, letters + ".jpg"}) {
    const std::string name = numberedFileName(safeFileName(text), 1234);
    EXPECT_EQ(safeFileName(name), name);
    EXPECT_NE(name.find(" (1234)"), std::string::npos);
  }
}

}  // namespace
}  // namespace host
