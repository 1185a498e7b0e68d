#include "report/Colours.h"

#include <gtest/gtest.h>

using host::Colour;
using host::coloured;
using host::colouredBar;

TEST(Colours, SurroundATextWhereTheyAreWanted) {
  EXPECT_EQ(coloured("done", Colour::green, true), "\x1b[32mdone\x1b[0m");
  EXPECT_EQ(coloured("done", Colour::yellow, true), "\x1b[33mdone\x1b[0m");
  EXPECT_EQ(coloured("done", Colour::red, true), "\x1b[31mdone\x1b[0m");
  EXPECT_EQ(coloured("done", Colour::bold, true), "\x1b[1mdone\x1b[0m");
  EXPECT_EQ(coloured("done", Colour::green, false), "done");
  EXPECT_EQ(coloured("", Colour::green, true), "");
}

TEST(Colours, OfABarAreThoseOfWhatIsDone) {
  EXPECT_EQ(colouredBar("[##--]  50%", true), "[\x1b[32m##\x1b[0m--]  50%");
  EXPECT_EQ(colouredBar("[####] 100%", true), "[\x1b[32m####\x1b[0m] 100%");
  EXPECT_EQ(colouredBar("[----]   0%", true), "[----]   0%");
  EXPECT_EQ(colouredBar("[##--]  50%", false), "[##--]  50%");
  EXPECT_EQ(colouredBar(" 50%  1/2 MiB", true), " 50%  1/2 MiB");
  EXPECT_EQ(colouredBar("[", true), "[");
  EXPECT_EQ(colouredBar("", true), "");
}
