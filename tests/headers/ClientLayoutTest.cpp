#include "headers/ClientLayout.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

static_assert(__cplusplus > 201703L);

TEST(ClientLayout, IsTheSameBeforeAndSinceTheDestroyingDelete) {
  EXPECT_THAT(clientLayout(), testing::ElementsAre(8, 8, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9));
  EXPECT_EQ(clientLayoutBefore20(), clientLayout());
}
