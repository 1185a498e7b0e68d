#include "boundary/records/PlatformNames.h"
#include <ExternlMediaTransfer/ExternlMediaPlatform.h>

#include <gtest/gtest.h>

#include <limits>

using namespace KBL;

TEST(PlatformNames, EveryPlatformHasItsNumberAndName) {
  EXPECT_EQ(ema_none, -1);
  EXPECT_EQ(ema_youtube, 0);
  EXPECT_EQ(ema_vimeo, 1);
  EXPECT_EQ(ema_tiktok, 2);
  EXPECT_EQ(ema_douyin, 3);
  EXPECT_EQ(ema_count, 4);
  EXPECT_STREQ(platformName(-1), "ema_none");
  EXPECT_STREQ(platformName(0), "ema_youtube");
  EXPECT_STREQ(platformName(1), "ema_vimeo");
  EXPECT_STREQ(platformName(2), "ema_tiktok");
  EXPECT_STREQ(platformName(3), "ema_douyin");
  EXPECT_STREQ(platformName(4), "ema_count");
}

TEST(PlatformNames, AnUnknownPlatformPrintsAsNothing) {
  EXPECT_STREQ(platformName(5), "");
  EXPECT_STREQ(platformName(-2), "");
}

TEST(ProxyTypeNames, EveryTypeHasItsText) {
  EXPECT_STREQ(proxyTypeName(1), "Http");
  EXPECT_STREQ(proxyTypeName(2), "Socks4");
  EXPECT_STREQ(proxyTypeName(3), "Socks5");
}

TEST(ProxyTypeNames, AnythingElseIsUnknow) {
  EXPECT_STREQ(proxyTypeName(0), "unknow");
  EXPECT_STREQ(proxyTypeName(4), "unknow");
  EXPECT_STREQ(proxyTypeName(-1), "unknow");
  EXPECT_STREQ(proxyTypeName(std::numeric_limits<long long>::max()), "unknow");
}
