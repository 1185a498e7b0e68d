// What the upload proxies tell of a running upload, and which proxy tells it.
#include "uploaders/proxies/UploadProxyFixture.h"

#include <atomic>
#include <thread>
#include <vector>

using namespace KBL;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {
class UploadProxyEvent : public UploadProxyFixture {};
INSTANTIATE_TEST_SUITE_P(Platforms, UploadProxyEvent, testing::ValuesIn(proxyCases), proxyCaseName);

TEST_P(UploadProxyEvent, ProgressOfTheUploadIsReported) {
  const auto proxy = makeProxy(sink_);
  deliver(GetParam().callbacks(), GetParam().uploadRequestType, {.progress = "42"});
  EXPECT_THAT(sink_->events(), ElementsAre(ReportedEvent{1, "42", 0}));
}

TEST_P(UploadProxyEvent, NegativeProgressIsNotReported) {
  const auto proxy = makeProxy(sink_);
  deliver(GetParam().callbacks(), GetParam().uploadRequestType, {.progress = "-1"});
  EXPECT_THAT(sink_->events(), IsEmpty());
}

TEST_P(UploadProxyEvent, ProgressThatIsNoNumberReadsAs0AndIsReported) {
  const auto proxy = makeProxy(sink_);
  deliver(GetParam().callbacks(), GetParam().uploadRequestType, {.progress = "soon"});
  EXPECT_THAT(sink_->events(), ElementsAre(ReportedEvent{1, "soon", 0}));
}

TEST_P(UploadProxyEvent, AVideoUrlFinishesTheUploadAfterA100) {
  const auto proxy = makeProxy(sink_);
  deliver(GetParam().callbacks(), GetParam().uploadRequestType,
          {.progress = "100", .videoUrl = "https://v/1", .stopFlag = "upload_success"});
  EXPECT_THAT(sink_->events(), ElementsAre(ReportedEvent{1, "100", 0}, ReportedEvent{1, "100", 0},
                                           ReportedEvent{2, "https://v/1", 0}));
}

TEST_P(UploadProxyEvent, AnEmptyVideoUrlFinishesTheUploadToo) {
  const auto proxy = makeProxy(sink_);
  deliver(GetParam().callbacks(), GetParam().uploadRequestType, {.videoUrl = ""});
  EXPECT_THAT(sink_->events(), ElementsAre(ReportedEvent{1, "100", 0}, ReportedEvent{2, "", 0}));
}

TEST_P(UploadProxyEvent, TheSuccessFlagAloneFinishesTheUpload) {
  const auto proxy = makeProxy(sink_);
  deliver(GetParam().callbacks(), GetParam().uploadRequestType, {.stopFlag = "upload_success"});
  EXPECT_THAT(sink_->events(), ElementsAre(ReportedEvent{1, "100", 0}, ReportedEvent{2, "(null)", 0}));
}

TEST_P(UploadProxyEvent, AFinishedUploadReportsNoError) {
  const auto proxy = makeProxy(sink_);
  deliver(GetParam().callbacks(), GetParam().uploadRequestType,
          {.videoUrl = "u", .code = -10021, .message = "read file error"});
  EXPECT_THAT(sink_->events(), ElementsAre(ReportedEvent{1, "100", 0}, ReportedEvent{2, "u", 0}));
}

TEST_P(UploadProxyEvent, ARepeatedDeliveryFinishesAgain) {
  const auto proxy = makeProxy(sink_);
  const Delivery finished{.videoUrl = "u"};
  deliver(GetParam().callbacks(), GetParam().uploadRequestType, finished);
  deliver(GetParam().callbacks(), GetParam().uploadRequestType, finished);
  EXPECT_THAT(sink_->events(), ElementsAre(ReportedEvent{1, "100", 0}, ReportedEvent{2, "u", 0},
                                           ReportedEvent{1, "100", 0}, ReportedEvent{2, "u", 0}));
}

TEST_P(UploadProxyEvent, AnErrorIsReportedAsCodeCommaMessage) {
  const auto proxy = makeProxy(sink_);
  deliver(GetParam().callbacks(), GetParam().uploadRequestType,
          {.progress = "7", .stopFlag = "upload_error", .code = -10007, .message = "User cancelled!"});
  ASSERT_EQ(sink_->events().size(), 2U);
  EXPECT_EQ(sink_->events()[0], (ReportedEvent{1, "7", 0}));
  EXPECT_EQ(sink_->events()[1].code, 3U);
  EXPECT_EQ(sink_->events()[1].text, "-10007,User cancelled!");
}

TEST_P(UploadProxyEvent, AnUploadWithoutAStateReportsNothing) {
  const auto proxy = makeProxy(sink_);
  deliver(GetParam().callbacks(), GetParam().uploadRequestType, {.stopFlag = "user_cancelled"});
  EXPECT_THAT(sink_->events(), IsEmpty());
}

TEST_P(UploadProxyEvent, AFailedEntitlementIsReported) {
  const auto proxy = makeProxy(sink_);
  deliver(GetParam().callbacks(), requestUserSupportConsume,
          {.progress = "5", .videoUrl = "u", .code = 7, .message = "no right"});
  ASSERT_EQ(sink_->events().size(), 1U);
  EXPECT_EQ(sink_->events()[0].code, 3U);
  EXPECT_EQ(sink_->events()[0].text, "7,no right");
}

TEST_P(UploadProxyEvent, AGrantedEntitlementIsSilent) {
  const auto proxy = makeProxy(sink_);
  deliver(GetParam().callbacks(), requestUserSupportConsume, {.progress = "5"});
  EXPECT_THAT(sink_->events(), IsEmpty());
}

TEST_P(UploadProxyEvent, EveryOtherRequestIsSilentAlsoWhenItFailed) {
  const auto proxy = makeProxy(sink_);
  for (int type = requestNone; type <= requestUserSupportConsume; ++type) {
    if (type == GetParam().uploadRequestType || type == requestUserSupportConsume) continue;
    deliver(GetParam().callbacks(), type,
            {.progress = "9", .videoUrl = "u", .code = -10000, .message = "broken"});
  }
  EXPECT_THAT(sink_->events(), IsEmpty());
}

TEST_P(UploadProxyEvent, NullArgumentsAreIgnored) {
  const auto proxy = makeProxy(sink_);
  const auto request = makeRequest(GetParam().uploadRequestType);
  const auto info = makeRef<BsExternlMediaUploadInfo>();
  info->setCharKeyConfig("upload_progress", "1");
  const auto error = makeRef<BsErrorInfo>();
  IBsRequstCallback& callbacks = GetParam().callbacks();
  callbacks.queryResponse(nullptr, info.get(), error.get());
  callbacks.queryResponse(request.get(), nullptr, error.get());
  callbacks.queryResponse(request.get(), info.get(), nullptr);
  EXPECT_THAT(sink_->events(), IsEmpty());
}

TEST_P(UploadProxyEvent, TheProxyItselfAnswersLikeItsCallback) {
  const auto proxy = makeProxy(sink_);
  deliver(*proxy, GetParam().uploadRequestType, {.progress = "3"});
  EXPECT_THAT(sink_->events(), ElementsAre(ReportedEvent{1, "3", 0}));
}

// --- Which proxy hears

TEST_P(UploadProxyEvent, TheProxyConstructedLastOwnsTheEvents) {
  const auto other = std::make_shared<RecordingSink>();
  const auto first = makeProxy(other);
  const auto last = makeProxy(sink_);
  deliver(GetParam().callbacks(), GetParam().uploadRequestType, {.progress = "1"});
  EXPECT_THAT(other->events(), IsEmpty());
  EXPECT_EQ(sink_->events().size(), 1U);
}

TEST_P(UploadProxyEvent, TheEndOfTheLastProxyStopsTheEventsOfBoth) {
  const auto other = std::make_shared<RecordingSink>();
  const auto first = makeProxy(other);
  makeProxy(sink_).reset();
  deliver(GetParam().callbacks(), GetParam().uploadRequestType, {.progress = "1"});
  EXPECT_THAT(other->events(), IsEmpty());
  EXPECT_THAT(sink_->events(), IsEmpty());
}

TEST_P(UploadProxyEvent, TheEndOfAnEarlierProxyTakesNothingAway) {
  auto first = makeProxy(std::make_shared<RecordingSink>());
  const auto last = makeProxy(sink_);
  first.reset();
  deliver(GetParam().callbacks(), GetParam().uploadRequestType, {.progress = "1"});
  EXPECT_EQ(sink_->events().size(), 1U);
}

TEST_P(UploadProxyEvent, ACallbackWhoseProxyIsGoneReturns1) {
  makeProxy(sink_).reset();
  const auto request = makeRequest(GetParam().uploadRequestType);
  const auto info = makeRef<BsExternlMediaUploadInfo>();
  const auto error = makeRef<BsErrorInfo>();
  EXPECT_EQ(GetParam().callbacks().queryResponse(request.get(), info.get(), error.get()), 1);
}

TEST_P(UploadProxyEvent, ACallbackWhoseProxyLivesReturns0) {
  const auto proxy = makeProxy(sink_);
  const auto request = makeRequest(GetParam().uploadRequestType);
  const auto info = makeRef<BsExternlMediaUploadInfo>();
  const auto error = makeRef<BsErrorInfo>();
  EXPECT_EQ(GetParam().callbacks().queryResponse(request.get(), info.get(), error.get()), 0);
}

TEST_P(UploadProxyEvent, ProxiesOfOtherPlatformsHearNothing) {
  const auto proxy = makeProxy(sink_);
  for (const int platform : {1, 6, 7}) {
    if (platform == GetParam().transferPlatform) continue;
    const auto other = std::make_shared<RecordingSink>();
    const auto otherProxy = findUploadPlatform(platform)->makeProxy(other);
    deliver(GetParam().callbacks(), GetParam().uploadRequestType, {.progress = "1"});
    EXPECT_THAT(other->events(), IsEmpty());
  }
  EXPECT_EQ(sink_->events().size(), 2U);
}

TEST_P(UploadProxyEvent, WorkersMayReportWhileProxiesComeAndGo) {
  const auto sink = std::make_shared<RecordingSink>();
  std::atomic<bool> done{false};
  std::vector<std::thread> workers;
  for (int i = 0; i < 2; ++i) {
    workers.emplace_back([&] {
      while (!done) deliver(GetParam().callbacks(), GetParam().uploadRequestType, {.videoUrl = "u"});
    });
  }
  const UploadPlatform& platform = *findUploadPlatform(GetParam().transferPlatform);
  for (int i = 0; i < 300 || sink->events().empty(); ++i) {
    const auto proxy = platform.makeProxy(sink);
    std::this_thread::yield();
  }
  done = true;
  for (std::thread& worker : workers) worker.join();
  EXPECT_THAT(sink->events(), Not(IsEmpty()));
}
}  // namespace
