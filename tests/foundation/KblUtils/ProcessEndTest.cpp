#include "support/ChildProcess.h"

#include <gtest/gtest.h>

TEST(ProcessEnd, ReturningFromMainWithTimersAndSleepersPendingIsClean) {
  constexpr int rounds = 40;
  for (int round = 0; round < rounds; ++round) {
    ChildProcess leaver({LEAVER_PROGRAM, std::to_string(round % 8)});

    EXPECT_EQ(leaver.wait(), 0) << "in round " << round;
  }
}

TEST(ProcessEnd, LibrariesWhoseThreadsMayRunStayMappedWhenClosed) {
  for (const char* library : {UTILS_LIBRARY, LOGGER_LIBRARY}) {
    ChildProcess unloader({UNLOADER_PROGRAM, library});

    EXPECT_EQ(unloader.wait(), 0) << library;
  }
}
