// The three upload proxies, one design, each test for each of them.
#include "boundary/records/ExternlMediaKeys.h"
#include "boundary/records/Records.h"
#include "foundation/BsNet/BsErrorInfo.h"
#include "requests/BsExternlMediaAuthRequest.h"
#include "support/RecordingLogger.h"
#include "support/SlotOf.h"
#include "uploaders/DouyinUploader.h"
#include "uploaders/FakeManager.h"
#include "uploaders/RecordingSink.h"
#include "uploaders/TiktokUploader.h"
#include "uploaders/YoutubeUploader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <thread>
#include <vector>

using namespace KBL;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {
struct ProxyCase {
  const char* name;
  int transferPlatform;
  int managerIndex;
  int uploadRequestType;
  bool copiesUser;
  bool fillsCategories;
  UploadCallbackProxy& (*callbacks)();
};

void PrintTo(const ProxyCase& test, std::ostream* out) {
  *out << test.name;
}

class UploadProxy : public testing::TestWithParam<ProxyCase> {
 protected:
  static std::shared_ptr<IPlatformUploadProxy> makeProxy(const std::shared_ptr<RecordingSink>& sink) {
    return findUploadPlatform(GetParam().transferPlatform)->makeProxy(sink);
  }

  const std::shared_ptr<RecordingSink> sink_ = std::make_shared<RecordingSink>();
};

/// A request of some kind, as a proxy gets to see it.
RefPtr<ConcreteAuthRequest> makeRequest(int type) {
  return makeRef<ConcreteAuthRequest>(
      RequestConstants{static_cast<ExternlMediaAuthRequestType>(type), httpPost, "", "test"});
}

std::string textOf(IBsInfoReader* info, const char* key) {
  const char* const text = info->charKeyConfig(key);
  return text == nullptr ? "(unset)" : text;
}

hostTransferRecord someRecord() {
  hostTransferRecord record{};
  std::strcpy(record.filePath, "/videos/Müller.mp4");
  std::strcpy(record.title, "a title");
  std::strcpy(record.description, "a description");
  std::strcpy(record.tags, "one,two");
  std::strcpy(record.category, "22");
  std::strcpy(record.privacy, "unlisted");
  std::strcpy(record.thumbnailPath, "/videos/cover.png");
  std::strcpy(record.userUuid, "user-7");
  record.useClient = 3;
  record.actionType = -4;
  return record;
}

INSTANTIATE_TEST_SUITE_P(
    Platforms, UploadProxy,
    testing::Values(
        ProxyCase{"Youtube", 1, 0, 7, false, true,
                  []() -> UploadCallbackProxy& { return YoutubeUploadProxyCallbackProxy::instance(); }},
        ProxyCase{"Tiktok", 6, 2, 9, true, false,
                  []() -> UploadCallbackProxy& { return TiktokUploadProxyCallbackProxy::instance(); }},
        ProxyCase{"Douyin", 7, 3, 11, true, false,
                  []() -> UploadCallbackProxy& { return DouyinUploadProxyCallbackProxy::instance(); }}),
    [](const auto& test) { return test.param.name; });

// --- StartUpload

TEST_P(UploadProxy, StartCopiesTheRecordIntoAnUploadInfo) {
  const InstalledManager manager(GetParam().managerIndex);
  const auto proxy = makeProxy(sink_);
  hostTransferRecord record = someRecord();

  ASSERT_EQ(proxy->StartUpload(&record), 0);

  ASSERT_EQ(manager->uploads.size(), 1U);
  IBsInfoReader* const info = manager->uploads[0].info.get();
  EXPECT_EQ(info->infoType(), 406);
  EXPECT_EQ(textOf(info, "upload_seq"), "0");
  EXPECT_EQ(textOf(info, "upload_file_path"), "/videos/Müller.mp4");
  EXPECT_EQ(textOf(info, "upload_title"), "a title");
  EXPECT_EQ(textOf(info, "upload_desc"), "a description");
  EXPECT_EQ(textOf(info, "upload_tags"), "one,two");
  EXPECT_EQ(textOf(info, "upload_category"), "22");
  EXPECT_EQ(textOf(info, "upload_privacy"), "unlisted");
  EXPECT_EQ(textOf(info, "upload_thumbnail_path"), "/videos/cover.png");
  EXPECT_EQ(textOf(info, "externlmedia_user_uuid"), "user-7");
  EXPECT_EQ(textOf(info, "user_consume_use_client"), "3");
  EXPECT_EQ(textOf(info, "user_consume_action_type"), "-4");
  EXPECT_EQ(textOf(info, "upload_stop"), "(unset)");
}

TEST_P(UploadProxy, StartPassesTheCallbackOfItsClassAndAsksForTheEntitlement) {
  const InstalledManager manager(GetParam().managerIndex);
  const auto proxy = makeProxy(sink_);
  hostTransferRecord record{};

  proxy->StartUpload(&record);

  ASSERT_EQ(manager->uploads.size(), 1U);
  EXPECT_EQ(manager->uploads[0].callback, static_cast<IBsRequstCallback*>(&GetParam().callbacks()));
  EXPECT_EQ(manager->uploads[0].consume, 1);
}

TEST_P(UploadProxy, FieldsWithoutATerminatorEndWithTheField) {
  const InstalledManager manager(GetParam().managerIndex);
  const auto proxy = makeProxy(sink_);
  hostTransferRecord record{};
  std::memset(static_cast<void*>(&record), 'x', sizeof record);

  ASSERT_EQ(proxy->StartUpload(&record), 0);

  IBsInfoReader* const info = manager->uploads[0].info.get();
  EXPECT_EQ(textOf(info, "upload_file_path"), std::string(1024, 'x'));
  EXPECT_EQ(textOf(info, "upload_desc"), std::string(8192, 'x'));
  EXPECT_EQ(textOf(info, "upload_tags"), std::string(512, 'x'));
  EXPECT_EQ(textOf(info, "upload_category"), std::string(48, 'x'));
  EXPECT_EQ(textOf(info, "upload_privacy"), std::string(48, 'x'));
  EXPECT_EQ(textOf(info, "upload_thumbnail_path"), std::string(1024, 'x'));
  EXPECT_EQ(textOf(info, "externlmedia_user_uuid"), std::string(256, 'x'));
}

TEST_P(UploadProxy, StartWithoutAManagerReturns1) {
  const auto proxy = makeProxy(sink_);
  hostTransferRecord record{};
  EXPECT_EQ(proxy->StartUpload(&record), 1);
}

TEST_P(UploadProxy, AManagerThatCannotUploadIsNoError) {
  const InstalledManager manager(GetParam().managerIndex);
  manager->canUpload = false;
  const auto proxy = makeProxy(sink_);
  hostTransferRecord record{};

  EXPECT_EQ(proxy->StartUpload(&record), 0);
  EXPECT_THAT(manager->uploads, IsEmpty());
  EXPECT_THAT(sink_->events, IsEmpty());
}

TEST_P(UploadProxy, OnlyPlatformsThatNeedTheUserCopyItsKeys) {
  const InstalledManager manager(GetParam().managerIndex);
  manager->onUserInfo = [](const std::string&, IBsExternlMediaAuthUserInfo* out) {
    out->setCharKeyConfig(ExternlMediaMixedCharKey::userAccountUid, "open-id-1");
    return resultOk;
  };
  const auto proxy = makeProxy(sink_);
  hostTransferRecord record = someRecord();

  proxy->StartUpload(&record);

  IBsInfoReader* const info = manager->uploads[0].info.get();
  EXPECT_EQ(textOf(info, ExternlMediaMixedCharKey::userAccountUid),
            GetParam().copiesUser ? "open-id-1" : "(unset)");
  EXPECT_EQ(manager->userInfos,
            GetParam().copiesUser ? std::vector<std::string>{"user-7"} : std::vector<std::string>{});
  EXPECT_EQ(textOf(info, "upload_file_path"), "/videos/Müller.mp4");
}

TEST_P(UploadProxy, AnUnknownUserStillStartsTheUpload) {
  const InstalledManager manager(GetParam().managerIndex);
  manager->onUserInfo = [](const std::string&, IBsExternlMediaAuthUserInfo*) { return resultFailed; };
  const auto proxy = makeProxy(sink_);
  hostTransferRecord record{};

  EXPECT_EQ(proxy->StartUpload(&record), 0);
  EXPECT_EQ(manager->uploads.size(), 1U);
}

// --- StopUpload

TEST_P(UploadProxy, StopWritesTheFlagOfTheNewestUploadOnly) {
  const InstalledManager manager(GetParam().managerIndex);
  const auto proxy = makeProxy(sink_);
  hostTransferRecord record = someRecord();
  proxy->StartUpload(&record);
  proxy->StartUpload(&record);

  EXPECT_EQ(proxy->StopUpload(), 0);

  EXPECT_EQ(textOf(manager->uploads[0].info.get(), "upload_stop"), "(unset)");
  EXPECT_EQ(textOf(manager->uploads[1].info.get(), "upload_stop"), "user_cancelled");
  EXPECT_THAT(sink_->events, IsEmpty());
}

TEST_P(UploadProxy, StopLogsTheFileUnderTheNameOfItsClass) {
  const InstalledManager manager(GetParam().managerIndex);
  const auto proxy = makeProxy(sink_);
  hostTransferRecord record = someRecord();
  proxy->StartUpload(&record);
  const ScopedRecordingLogger log;

  proxy->StopUpload();

  const auto lines = log->linesWith("user cancelled, ");
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_EQ(lines[0].text, "user cancelled, /videos/Müller.mp4");
  EXPECT_EQ(lines[0].severity, 4);
  EXPECT_EQ(lines[0].function, std::string(GetParam().name) + "UploadProxy::StopUpload");
  EXPECT_GT(lines[0].line, 0);
}

TEST_P(UploadProxy, StopBeforeAnyUploadDoesNothing) {
  const ScopedRecordingLogger log;
  const auto proxy = makeProxy(sink_);
  EXPECT_EQ(proxy->StopUpload(), 0);
  EXPECT_THAT(log->linesWith("user cancelled"), IsEmpty());
}

TEST_P(UploadProxy, AStoppedUploadDoesNotStopTheNextOne) {
  const InstalledManager manager(GetParam().managerIndex);
  const auto proxy = makeProxy(sink_);
  hostTransferRecord record{};
  proxy->StartUpload(&record);
  proxy->StopUpload();

  proxy->StartUpload(&record);

  EXPECT_EQ(textOf(manager->uploads[1].info.get(), "upload_stop"), "(unset)");
}

// --- Logout and GetUserInfo

TEST_P(UploadProxy, LogoutSignsTheLastUserOut) {
  const InstalledManager manager(GetParam().managerIndex);
  const auto proxy = makeProxy(sink_);
  EXPECT_EQ(proxy->Logout(), 0);
  EXPECT_THAT(manager->logouts, ElementsAre(""));
}

TEST_P(UploadProxy, LogoutReturns1WhenTheManagerRefuses) {
  const InstalledManager manager(GetParam().managerIndex);
  manager->logoutResult = resultUnknownCommand;
  EXPECT_EQ(makeProxy(sink_)->Logout(), 1);
}

TEST_P(UploadProxy, LogoutAndUserInfoWithoutAManagerReturn1) {
  const auto proxy = makeProxy(sink_);
  hostAccountRecord account{};
  EXPECT_EQ(proxy->Logout(), 1);
  EXPECT_EQ(proxy->GetUserInfo(&account), 1);
}

TEST_P(UploadProxy, UserInfoReturns1WithoutAUserAndLeavesTheRecord) {
  const InstalledManager manager(GetParam().managerIndex);
  hostAccountRecord account{};
  std::strcpy(account.userName, "before");
  EXPECT_EQ(makeProxy(sink_)->GetUserInfo(&account), 1);
  EXPECT_STREQ(account.userName, "before");
}

/// Room behind the record for the categories, as a host has it.
struct RoomyAccount {
  hostAccountRecord record{};
  char room[4096]{};

  [[nodiscard]] const char* categories() const {
    return reinterpret_cast<const char*>(this) + offsetof(hostAccountRecord, videoCategories);
  }
};

TEST_P(UploadProxy, UserInfoFillsNameTokenAndWhereKnownTheCategories) {
  const InstalledManager manager(GetParam().managerIndex);
  const std::string categories = "Film|Music|Science & Technology|";
  manager->onUserInfo = [&](const std::string& uuid, IBsExternlMediaAuthUserInfo* out) {
    EXPECT_EQ(uuid, "");
    out->setCharKeyConfig(ExternlMediaAuthUserCharKey::thirdAccessToken, "the-token");
    out->setCharKeyConfig(ExternlMediaAuthUserCharKey::userNickName, "Zoë");
    out->setCharKeyConfig(ExternlMediaAuthUserCharKey::videoCategories, categories.c_str());
    return resultOk;
  };
  const auto account = std::make_unique<RoomyAccount>();
  account->record.videoHd = 11;
  std::strcpy(account->record.appKey, "key");

  EXPECT_EQ(makeProxy(sink_)->GetUserInfo(&account->record), 0);

  EXPECT_STREQ(account->record.accessToken, "the-token");
  EXPECT_STREQ(account->record.userName, "Zoë");
  EXPECT_EQ(account->categories(), GetParam().fillsCategories ? categories : std::string());
  EXPECT_EQ(account->record.videoHd, 11);
  EXPECT_STREQ(account->record.appKey, "key");
}

TEST_P(UploadProxy, LongTextsAreCutToTheirFieldsAtACharactersEnd) {
  const InstalledManager manager(GetParam().managerIndex);
  manager->onUserInfo = [](const std::string&, IBsExternlMediaAuthUserInfo* out) {
    std::string name(98, 'n');
    name += "€uro";
    out->setCharKeyConfig(ExternlMediaAuthUserCharKey::userNickName, name.c_str());
    out->setCharKeyConfig(ExternlMediaAuthUserCharKey::thirdAccessToken, std::string(100000, 't').c_str());
    return resultOk;
  };
  const auto account = std::make_unique<RoomyAccount>();

  EXPECT_EQ(makeProxy(sink_)->GetUserInfo(&account->record), 0);

  EXPECT_EQ(std::string(account->record.userName), std::string(98, 'n'));
  EXPECT_EQ(std::string(account->record.accessToken), std::string(4095, 't'));
  EXPECT_EQ(account->record.appKey[0], '\0');
}

// --- queryResponse

struct Delivery {
  const char* progress = nullptr;
  const char* videoUrl = nullptr;
  const char* stopFlag = nullptr;
  int code = 0;
  const char* message = "";
};

void deliver(IBsRequstCallback& callback, int requestType, const Delivery& delivery) {
  const auto request = makeRequest(requestType);
  const auto info = makeRef<BsExternlMediaUploadInfo>();
  const auto error = makeRef<BsErrorInfo>();
  if (delivery.progress != nullptr) info->setCharKeyConfig("upload_progress", delivery.progress);
  if (delivery.videoUrl != nullptr) info->setCharKeyConfig("upload_video_url", delivery.videoUrl);
  if (delivery.stopFlag != nullptr) info->setCharKeyConfig("upload_stop", delivery.stopFlag);
  error->setError(delivery.code, delivery.message);
  callback.queryResponse(request.get(), info.get(), error.get());
}

TEST_P(UploadProxy, ProgressOfTheUploadIsReported) {
  const auto proxy = makeProxy(sink_);
  deliver(GetParam().callbacks(), GetParam().uploadRequestType, {.progress = "42"});
  EXPECT_THAT(sink_->events, ElementsAre(ReportedEvent{1, "42", 0}));
}

TEST_P(UploadProxy, NegativeProgressIsNotReported) {
  const auto proxy = makeProxy(sink_);
  deliver(GetParam().callbacks(), GetParam().uploadRequestType, {.progress = "-1"});
  EXPECT_THAT(sink_->events, IsEmpty());
}

TEST_P(UploadProxy, ProgressThatIsNoNumberReadsAs0AndIsReported) {
  const auto proxy = makeProxy(sink_);
  deliver(GetParam().callbacks(), GetParam().uploadRequestType, {.progress = "soon"});
  EXPECT_THAT(sink_->events, ElementsAre(ReportedEvent{1, "soon", 0}));
}

TEST_P(UploadProxy, AVideoUrlFinishesTheUploadAfterA100) {
  const auto proxy = makeProxy(sink_);
  deliver(GetParam().callbacks(), GetParam().uploadRequestType,
          {.progress = "100", .videoUrl = "https://v/1", .stopFlag = "upload_success"});
  EXPECT_THAT(sink_->events, ElementsAre(ReportedEvent{1, "100", 0}, ReportedEvent{1, "100", 0},
                                         ReportedEvent{2, "https://v/1", 0}));
}

TEST_P(UploadProxy, AnEmptyVideoUrlFinishesTheUploadToo) {
  const auto proxy = makeProxy(sink_);
  deliver(GetParam().callbacks(), GetParam().uploadRequestType, {.videoUrl = ""});
  EXPECT_THAT(sink_->events, ElementsAre(ReportedEvent{1, "100", 0}, ReportedEvent{2, "", 0}));
}

TEST_P(UploadProxy, TheSuccessFlagAloneFinishesTheUpload) {
  const auto proxy = makeProxy(sink_);
  deliver(GetParam().callbacks(), GetParam().uploadRequestType, {.stopFlag = "upload_success"});
  ASSERT_EQ(sink_->events.size(), 2U);
  EXPECT_EQ(sink_->events[0], (ReportedEvent{1, "100", 0}));
  EXPECT_EQ(sink_->events[1].code, 2U);
}

TEST_P(UploadProxy, AFinishedUploadReportsNoError) {
  const auto proxy = makeProxy(sink_);
  deliver(GetParam().callbacks(), GetParam().uploadRequestType,
          {.videoUrl = "u", .code = -10021, .message = "read file error"});
  EXPECT_THAT(sink_->events, ElementsAre(ReportedEvent{1, "100", 0}, ReportedEvent{2, "u", 0}));
}

TEST_P(UploadProxy, ARepeatedDeliveryFinishesAgain) {
  const auto proxy = makeProxy(sink_);
  const Delivery finished{.videoUrl = "u"};
  deliver(GetParam().callbacks(), GetParam().uploadRequestType, finished);
  deliver(GetParam().callbacks(), GetParam().uploadRequestType, finished);
  EXPECT_THAT(sink_->events, ElementsAre(ReportedEvent{1, "100", 0}, ReportedEvent{2, "u", 0},
                                         ReportedEvent{1, "100", 0}, ReportedEvent{2, "u", 0}));
}

TEST_P(UploadProxy, AnErrorIsReportedAsCodeCommaMessage) {
  const auto proxy = makeProxy(sink_);
  deliver(GetParam().callbacks(), GetParam().uploadRequestType,
          {.progress = "7", .stopFlag = "upload_error", .code = -10007, .message = "User cancelled!"});
  ASSERT_EQ(sink_->events.size(), 2U);
  EXPECT_EQ(sink_->events[0], (ReportedEvent{1, "7", 0}));
  EXPECT_EQ(sink_->events[1].code, 3U);
  EXPECT_EQ(sink_->events[1].text, "-10007,User cancelled!");
}

TEST_P(UploadProxy, AnUploadWithoutAStateReportsNothing) {
  const auto proxy = makeProxy(sink_);
  deliver(GetParam().callbacks(), GetParam().uploadRequestType, {.stopFlag = "user_cancelled"});
  EXPECT_THAT(sink_->events, IsEmpty());
}

TEST_P(UploadProxy, AFailedEntitlementIsReported) {
  const auto proxy = makeProxy(sink_);
  deliver(GetParam().callbacks(), requestUserSupportConsume,
          {.progress = "5", .videoUrl = "u", .code = 7, .message = "no right"});
  ASSERT_EQ(sink_->events.size(), 1U);
  EXPECT_EQ(sink_->events[0].code, 3U);
  EXPECT_EQ(sink_->events[0].text, "7,no right");
}

TEST_P(UploadProxy, AGrantedEntitlementIsSilent) {
  const auto proxy = makeProxy(sink_);
  deliver(GetParam().callbacks(), requestUserSupportConsume, {.progress = "5"});
  EXPECT_THAT(sink_->events, IsEmpty());
}

TEST_P(UploadProxy, EveryOtherRequestIsSilentAlsoWhenItFailed) {
  const auto proxy = makeProxy(sink_);
  for (int type = requestNone; type <= requestUserSupportConsume; ++type) {
    if (type == GetParam().uploadRequestType || type == requestUserSupportConsume) continue;
    deliver(GetParam().callbacks(), type,
            {.progress = "9", .videoUrl = "u", .code = -10000, .message = "broken"});
  }
  EXPECT_THAT(sink_->events, IsEmpty());
}

TEST_P(UploadProxy, NullArgumentsAreIgnored) {
  const auto proxy = makeProxy(sink_);
  const auto request = makeRequest(GetParam().uploadRequestType);
  const auto info = makeRef<BsExternlMediaUploadInfo>();
  info->setCharKeyConfig("upload_progress", "1");
  const auto error = makeRef<BsErrorInfo>();
  IBsRequstCallback& callbacks = GetParam().callbacks();
  callbacks.queryResponse(nullptr, info.get(), error.get());
  callbacks.queryResponse(request.get(), nullptr, error.get());
  callbacks.queryResponse(request.get(), info.get(), nullptr);
  EXPECT_THAT(sink_->events, IsEmpty());
}

TEST_P(UploadProxy, TheProxyItselfAnswersLikeItsCallback) {
  const auto proxy = makeProxy(sink_);
  deliver(*proxy, GetParam().uploadRequestType, {.progress = "3"});
  EXPECT_THAT(sink_->events, ElementsAre(ReportedEvent{1, "3", 0}));
}

// --- Which proxy hears

TEST_P(UploadProxy, TheProxyConstructedLastOwnsTheEvents) {
  const auto other = std::make_shared<RecordingSink>();
  const auto first = makeProxy(other);
  const auto last = makeProxy(sink_);
  deliver(GetParam().callbacks(), GetParam().uploadRequestType, {.progress = "1"});
  EXPECT_THAT(other->events, IsEmpty());
  EXPECT_EQ(sink_->events.size(), 1U);
}

TEST_P(UploadProxy, TheEndOfTheLastProxyStopsTheEventsOfBoth) {
  const auto other = std::make_shared<RecordingSink>();
  const auto first = makeProxy(other);
  makeProxy(sink_).reset();
  deliver(GetParam().callbacks(), GetParam().uploadRequestType, {.progress = "1"});
  EXPECT_THAT(other->events, IsEmpty());
  EXPECT_THAT(sink_->events, IsEmpty());
}

TEST_P(UploadProxy, TheEndOfAnEarlierProxyTakesNothingAway) {
  auto first = makeProxy(std::make_shared<RecordingSink>());
  const auto last = makeProxy(sink_);
  first.reset();
  deliver(GetParam().callbacks(), GetParam().uploadRequestType, {.progress = "1"});
  EXPECT_EQ(sink_->events.size(), 1U);
}

TEST_P(UploadProxy, ACallbackWhoseProxyIsGoneReturns1) {
  makeProxy(sink_).reset();
  const auto request = makeRequest(GetParam().uploadRequestType);
  const auto info = makeRef<BsExternlMediaUploadInfo>();
  const auto error = makeRef<BsErrorInfo>();
  EXPECT_EQ(GetParam().callbacks().queryResponse(request.get(), info.get(), error.get()), 1);
}

TEST_P(UploadProxy, ProxiesOfOtherPlatformsHearNothing) {
  const auto proxy = makeProxy(sink_);
  for (const int platform : {1, 6, 7}) {
    if (platform == GetParam().transferPlatform) continue;
    const auto other = std::make_shared<RecordingSink>();
    const auto otherProxy = findUploadPlatform(platform)->makeProxy(other);
    deliver(GetParam().callbacks(), GetParam().uploadRequestType, {.progress = "1"});
    EXPECT_THAT(other->events, IsEmpty());
  }
  EXPECT_EQ(sink_->events.size(), 2U);
}

class CountingSink final : public IUploadEventSink {
 public:
  void userCallBack(unsigned, const char*, int) override { ++events; }
  std::atomic<int> events{0};
};

TEST_P(UploadProxy, WorkersMayReportWhileProxiesComeAndGo) {
  const auto sink = std::make_shared<CountingSink>();
  std::atomic<bool> done{false};
  std::vector<std::thread> workers;
  for (int i = 0; i < 2; ++i) {
    workers.emplace_back([&] {
      while (!done) deliver(GetParam().callbacks(), GetParam().uploadRequestType, {.videoUrl = "u"});
    });
  }
  const UploadPlatform& platform = *findUploadPlatform(GetParam().transferPlatform);
  for (int i = 0; i < 300 || sink->events == 0; ++i) {
    const auto proxy = platform.makeProxy(sink);
    std::this_thread::yield();
  }
  done = true;
  for (std::thread& worker : workers) worker.join();
  EXPECT_GT(sink->events, 0);
}

// --- Differences

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
  EXPECT_THAT(sink->events, ElementsAre(ReportedEvent{1, "1", 0}));
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

    EXPECT_THAT(sink->events,
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
  EXPECT_EQ(slotOf(&IPlatformUploadProxy::StopUpload), slotOf(&IPlatformUploadProxy::StartUpload) + 1);
  EXPECT_EQ(slotOf(&IPlatformUploadProxy::Logout), slotOf(&IPlatformUploadProxy::StartUpload) + 2);
  EXPECT_EQ(slotOf(&IPlatformUploadProxy::GetUserInfo), slotOf(&IPlatformUploadProxy::StartUpload) + 3);
}
}  // namespace
