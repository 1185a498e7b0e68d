#include <KblUtils/CastByName.h>

#include <gtest/gtest.h>

namespace {

struct Left {
  int left = 1;
};
struct Right {
  int right = 2;
};
struct Both : Left, Right {
  void* QueryInterfaceByName(const char* name) {
    return KBL::castByName(this, name, KBL::Named<Left>{"Left"}, KBL::Named<Right>{"Right"},
                           KBL::Named<Left>{"Right"});
  }
};

TEST(CastByName, GivesTheInterfaceOfTheFirstMatchingRow) {
  Both both;

  EXPECT_EQ(KBL::queryInterface<Left>(&both, "Left"), static_cast<Left*>(&both));
  EXPECT_EQ(KBL::queryInterface<Right>(&both, "Right"), static_cast<Right*>(&both));
}

TEST(CastByName, ComparesExactly) {
  Both both;

  EXPECT_EQ(both.QueryInterfaceByName("left"), nullptr);
  EXPECT_EQ(both.QueryInterfaceByName("Left "), nullptr);
  EXPECT_EQ(both.QueryInterfaceByName(""), nullptr);
}

TEST(CastByName, NullNameOrObjectGivesNull) {
  Both both;

  EXPECT_EQ(both.QueryInterfaceByName(nullptr), nullptr);
  EXPECT_EQ(KBL::queryInterface<Left>(static_cast<Both*>(nullptr), "Left"), nullptr);
}

}  // namespace
