#include "foundation/BsNet/BsErrorInfo.h"

#include <gtest/gtest.h>

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

TEST(ErrorInfo, CastsFromItsInterface) {
  KBL::BsErrorInfo error;
  KBL::IBsErrorInfo* const interface = &error;

  EXPECT_EQ(dynamic_cast<KBL::BsErrorInfo*>(interface), &error);
  EXPECT_EQ(error.QueryInterfaceByName("IBsErrorInfo"), interface);
}

}  // namespace
