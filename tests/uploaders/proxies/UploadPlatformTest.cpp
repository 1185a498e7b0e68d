// The table of differences among the native platforms, and what proxies share for the whole process.
#include "support/SlotOf.h"
#include "uploaders/proxies/UploadProxyFixture.h"
#include "uploaders/requests/makeUploadRequest.h"

using namespace KBL;
using testing::ElementsAre;

namespace {
TEST(MakeUploadRequest, KnowsTheUploadOfEachPlatform) {
  EXPECT_EQ(makeUploadRequest(0)->requestType(), 7);
  EXPECT_EQ(makeUploadRequest(2)->requestType(), 9);
  EXPECT_EQ(makeUploadRequest(3)->requestType(), 11);
  for (const int platform : {-1, 1, 4, 99}) EXPECT_FALSE(makeUploadRequest(platform)) << platform;
}

TEST(UploadCallbackProxyAlone, WithoutAnyProxyItReturns1) {
  class Callbacks final : public UploadCallbackProxy {};
  Callbacks callbacks;
  EXPECT_EQ(callbacks.queryResponse(nullptr, nullptr, nullptr), 1);
}

TEST(UploadCallbackProxyAlone, ClosedItForwardsNothing) {
  class Callbacks final : public UploadCallbackProxy {};
  Callbacks callbacks;
  const auto sink = std::make_shared<RecordingSink>();
  const auto reporter = std::make_shared<UploadEventReporter>(*findUploadPlatform(transferYoutube), sink);
  callbacks.enter(reporter);
  deliver(callbacks, requestYoutubeUploadFile, {.progress = "1"});
  callbacks.close();
  deliver(callbacks, requestYoutubeUploadFile, {.progress = "2"});
  EXPECT_THAT(sink->events(), ElementsAre(ReportedEvent{1, "1", 0}));
}

struct ErrorCase {
  int code;
  int youtubeValue;
};

class UploadErrorValue : public testing::TestWithParam<ErrorCase> {};

TEST_P(UploadErrorValue, IsMappedByYoutubeAloneAndGeneralElsewhere) {
  for (const int platform : {transferYoutube, transferTiktok, transferDouyin}) {
    const auto sink = std::make_shared<RecordingSink>();
    const UploadPlatform& row = *findUploadPlatform(platform);
    const UploadEventReporter reporter(row, sink);
    const auto request = makeRequest(row.uploadRequestType);
    const auto info = makeRef<BsExternlMediaUploadInfo>();
    const auto error = makeRef<BsErrorInfo>();
    error->setError(GetParam().code, "m");

    reporter.queryResponse(request.get(), info.get(), error.get());

    EXPECT_THAT(sink->events(),
                ElementsAre(ReportedEvent{3, std::to_string(GetParam().code) + ",m",
                                          platform == transferYoutube ? GetParam().youtubeValue : 0}));
  }
}

INSTANTIATE_TEST_SUITE_P(Codes, UploadErrorValue,
                         testing::Values(ErrorCase{-10002, 2}, ErrorCase{-10022, 9}, ErrorCase{140013, 9},
                                         ErrorCase{-10023, 14}, ErrorCase{-10024, 14}, ErrorCase{-10025, 14},
                                         ErrorCase{231500, 13}, ErrorCase{-10007, 10}, ErrorCase{-10021, 10},
                                         ErrorCase{500, 10}, ErrorCase{200007, 10}),
                         [](const auto& test) {
                           const int code = test.param.code;
                           return code < 0 ? "Minus" + std::to_string(-code) : std::to_string(code);
                         });

TEST(YoutubeErrorValue, NoErrorIs0) {
  EXPECT_EQ(youtubeErrorValue(0), 0);
}

TEST(UploadPlatforms, OnlyThreePlatformsAreNative) {
  for (int platform = -2; platform < 12; ++platform) {
    const bool native = platform == 1 || platform == 6 || platform == 7;
    EXPECT_EQ(findUploadPlatform(platform) != nullptr, native) << platform;
  }
}

TEST(IPlatformUploadProxySlots, StandInTheirOrder) {
  expectSlots(slotOf(&IPlatformUploadProxy::StartUpload), &IPlatformUploadProxy::StartUpload,
              &IPlatformUploadProxy::StopUpload, &IPlatformUploadProxy::Logout,
              &IPlatformUploadProxy::GetUserInfo);
}  // namespace
}  // namespace
