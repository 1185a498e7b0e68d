#include "support/FakeManager.h"
#include "uploaders/requests/UploadFileRequest.h"
#include <BsNet/BsInfoReader.h>
#include <ExternlMediaTransfer/ExternlMediaKeys.h>

#include <gtest/gtest.h>

using namespace KBL;

namespace {
struct StopCase {
  const char* name;
  const char* stopFlag;
  bool stopped;
};

class IsUploadStopped : public testing::TestWithParam<StopCase> {};

TEST_P(IsUploadStopped, FollowsTheStopFlagWhileTheManagerLives) {
  const InstalledManager manager(ema_youtube);
  BsBaseInfoRW info;
  if (GetParam().stopFlag != nullptr) {
    info.setCharKeyConfig(ExternlMediaUploadCharKey::stopFlag, GetParam().stopFlag);
  }
  EXPECT_EQ(isUploadStopped(manager.tag(), &info), GetParam().stopped);
}

INSTANTIATE_TEST_SUITE_P(
    Flags, IsUploadStopped,
    testing::Values(StopCase{"Unset", nullptr, false}, StopCase{"Cancelled", "user_cancelled", true},
                    StopCase{"Failed", "upload_error", true}, StopCase{"Succeeded", "upload_success", false},
                    StopCase{"OtherCapitals", "User_Cancelled", false}, StopCase{"Empty", "", false}),
    [](const auto& test) { return test.param.name; });

TEST(IsUploadStoppedByOwner, AnUnknownManagerStopsTheUpload) {
  BsBaseInfoRW info;
  EXPECT_TRUE(isUploadStopped("nobody.1", &info));
}

TEST(IsUploadStoppedByOwner, TheDeathOfTheManagerStopsTheUpload) {
  InstalledManager manager(ema_youtube);
  BsBaseInfoRW info;
  ASSERT_FALSE(isUploadStopped(manager.tag(), &info));
  manager.die();
  EXPECT_TRUE(isUploadStopped(manager.tag(), &info));
}

TEST(IsUploadStoppedByOwner, ALaterManagerOfAnotherPlatformStopsNothing) {
  const InstalledManager manager(ema_youtube);
  const InstalledManager later(ema_tiktok);
  EXPECT_FALSE(isUploadStopped(manager.tag(), nullptr));
}
}  // namespace
