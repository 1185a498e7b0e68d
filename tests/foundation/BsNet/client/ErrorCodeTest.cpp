#include <BsNet/KblBaseRequest.h>
#include <BsNet/NetReply.h>

#include <curl/curl.h>
#include <gtest/gtest.h>

#include <limits>

namespace {

int mapped(int code) {
  return covertToErrorCode(&code);
}

int isRetried(int code) {
  return KBL::makeRef<KBL::KblBaseRequest>()->needToRetry(code, nullptr);
}

TEST(ErrorCode, SuccessStaysSuccess) {
  EXPECT_EQ(mapped(0), 0);
  EXPECT_EQ(covertToErrorCode(nullptr), 0);
}

TEST(ErrorCode, CodesOfThisLibraryStay) {
  EXPECT_EQ(mapped(-10002), -10002);
  EXPECT_EQ(mapped(-10007), -10007);
  EXPECT_EQ(mapped(140013), 140013);
}

TEST(ErrorCode, TransportCodesMoveOutOfTheServersWay) {
  EXPECT_EQ(mapped(CURLE_COULDNT_CONNECT), 200007);
  EXPECT_EQ(mapped(CURLE_OPERATION_TIMEDOUT), 200028);
  EXPECT_EQ(mapped(CURLE_PEER_FAILED_VERIFICATION), 200060);
  EXPECT_EQ(mapped(1), 200001);
  EXPECT_EQ(mapped(KBL::transportPending), 201000);
}

TEST(ErrorCode, HugeCodeDoesNotOverflow) {
  EXPECT_EQ(mapped(std::numeric_limits<int>::max()), std::numeric_limits<int>::max());
}

TEST(NeedToRetry, TransportFailuresAreRetried) {
  for (int code = 1; code < CURL_LAST; ++code) EXPECT_EQ(isRetried(mapped(code)), 1) << code;
}

TEST(NeedToRetry, OnlySomeStatusesAreRetried) {
  for (int status = 100; status < 600; ++status) {
    const bool isTemporary =
        status == 408 || status == 429 || status == 500 || status == 502 || status == 503 || status == 504;
    EXPECT_EQ(isRetried(status), isTemporary ? 1 : 0) << status;
  }
}

TEST(NeedToRetry, EverythingElseIsNot) {
  for (const int code : {0, 7, -10000, -10001, -10002, -10004, -10007, 140013, 200000, 300000}) {
    EXPECT_EQ(isRetried(code), 0) << code;
  }
}

}  // namespace
