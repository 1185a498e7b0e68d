#include "support/WaitUntil.h"
#include <BsNet/BsErrorInfo.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

namespace {

TEST(ErrorInfo, StartsWithoutAnError) {
  KBL::BsErrorInfo error;

  EXPECT_EQ(error.errorCode(), 0);
  EXPECT_EQ(error.originCode(), 0);
  EXPECT_FALSE(error.failed());
  EXPECT_STREQ(error.errorMessage(), "");
}

TEST(ErrorInfo, KeepsTheOriginCodeApart) {
  KBL::BsErrorInfo error;
  error.setOriginCode(28);
  error.setError(200028, "late");

  EXPECT_EQ(error.errorCode(), 200028);
  EXPECT_EQ(error.originCode(), 28);
  EXPECT_TRUE(error.failed());
  EXPECT_STREQ(error.errorMessage(), "late");
}

TEST(ErrorInfo, NullMessageCountsAsEmptyAndFormerOnesStayValid) {
  KBL::BsErrorInfo error;
  error.setError(1, "first");
  const char* const first = error.errorMessage();
  error.setError(2, nullptr);

  EXPECT_STREQ(error.errorMessage(), "");
  EXPECT_STREQ(first, "first");
}

TEST(ErrorInfo, ResetClearsCodeMessageAndOrigin) {
  KBL::BsErrorInfo error;
  error.setOriginCode(7);
  error.setError(200007, "x");

  EXPECT_EQ(error.reset(), KBL::resultOk);

  EXPECT_EQ(error.errorCode(), 0);
  EXPECT_EQ(error.originCode(), 0);
  EXPECT_STREQ(error.errorMessage(), "");
}

TEST(ErrorInfo, CopiesAsARecord) {
  KBL::BsErrorInfo error;
  error.setError(5, "five");
  KBL::BsErrorInfo copy;

  copy.updataFrom(&error);

  EXPECT_EQ(copy.errorCode(), 5);
  EXPECT_STREQ(copy.errorMessage(), "five");
}

TEST(ErrorInfo, StateIsCodeAndMessageOfOneMoment) {
  KBL::BsErrorInfo error;
  std::atomic<bool> done{false};
  std::thread setter([&] {
    while (!done) {
      error.setError(5, "five");
      error.setError(0, "");
    }
  });
  int mixed = 0;
  int fives = 0;
  const auto end = std::chrono::steady_clock::now() + generousLimit;
  for (int read = 0; read < 50'000 || (fives < 1000 && std::chrono::steady_clock::now() < end); ++read) {
    const KBL::ErrorState state = KBL::errorStateOf(error);
    if (state.code == 5) ++fives;
    if ((state.code == 5) != (state.message == "five")) ++mixed;
  }
  done = true;
  setter.join();

  EXPECT_EQ(mixed, 0);
  EXPECT_GE(fives, 1000);
}

TEST(ErrorInfo, CastsFromItsInterface) {
  KBL::BsErrorInfo error;
  KBL::IBsErrorInfo* const asInterface = &error;

  EXPECT_EQ(dynamic_cast<KBL::BsErrorInfo*>(asInterface), &error);
  EXPECT_EQ(error.QueryInterfaceByName("IBsErrorInfo"), asInterface);
}

}  // namespace
