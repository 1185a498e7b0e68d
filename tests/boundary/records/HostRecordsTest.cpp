#include <ExternlMediaTransfer/HostRecords.h>

#include <gtest/gtest.h>

using namespace KBL;

TEST(HostRecords, TheTransferRecordHasTheLayoutThatHostsBuildByPosition) {
  EXPECT_EQ(sizeof(hostTransferRecord), 12136U);
  EXPECT_EQ(offsetof(hostTransferRecord, filePath), 0U);
  EXPECT_EQ(offsetof(hostTransferRecord, title), 1024U);
  EXPECT_EQ(offsetof(hostTransferRecord, description), 2048U);
  EXPECT_EQ(offsetof(hostTransferRecord, tags), 10240U);
  EXPECT_EQ(offsetof(hostTransferRecord, category), 10752U);
  EXPECT_EQ(offsetof(hostTransferRecord, privacy), 10800U);
  EXPECT_EQ(offsetof(hostTransferRecord, thumbnailPath), 10848U);
  EXPECT_EQ(offsetof(hostTransferRecord, useClient), 11872U);
  EXPECT_EQ(offsetof(hostTransferRecord, actionType), 11876U);
  EXPECT_EQ(offsetof(hostTransferRecord, userUuid), 11880U);
}

TEST(HostRecords, TheTransferRecordsFieldsHaveTheirSizes) {
  EXPECT_EQ(sizeof(hostTransferRecord::filePath), 1024U);
  EXPECT_EQ(sizeof(hostTransferRecord::title), 1024U);
  EXPECT_EQ(sizeof(hostTransferRecord::description), 8192U);
  EXPECT_EQ(sizeof(hostTransferRecord::tags), 512U);
  EXPECT_EQ(sizeof(hostTransferRecord::category), 48U);
  EXPECT_EQ(sizeof(hostTransferRecord::privacy), 48U);
  EXPECT_EQ(sizeof(hostTransferRecord::thumbnailPath), 1024U);
  EXPECT_EQ(sizeof(hostTransferRecord::useClient), 4U);
  EXPECT_EQ(sizeof(hostTransferRecord::actionType), 4U);
  EXPECT_EQ(sizeof(hostTransferRecord::userUuid), 256U);
}

TEST(HostRecords, TheAccountRecordHasItsLayout) {
  EXPECT_EQ(offsetof(hostAccountRecord, limitSpace), 0U);
  EXPECT_EQ(offsetof(hostAccountRecord, videoHd), 4U);
  EXPECT_EQ(offsetof(hostAccountRecord, videoSd), 8U);
  EXPECT_EQ(offsetof(hostAccountRecord, userName), 12U);
  EXPECT_EQ(offsetof(hostAccountRecord, appKey), 112U);
  EXPECT_EQ(offsetof(hostAccountRecord, appSecret), 240U);
  EXPECT_EQ(offsetof(hostAccountRecord, accessToken), 368U);
  EXPECT_EQ(offsetof(hostAccountRecord, videoCategories), 4464U);
  EXPECT_EQ(sizeof(hostAccountRecord::accessToken), 4096U);
}

TEST(HostRecords, TheShareRecordHasTwoFieldsOf1024Bytes) {
  EXPECT_EQ(sizeof(hostShareRecord), 2048U);
  EXPECT_EQ(offsetof(hostShareRecord, first), 0U);
  EXPECT_EQ(offsetof(hostShareRecord, second), 1024U);
}
