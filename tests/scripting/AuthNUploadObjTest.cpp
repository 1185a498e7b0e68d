#include "scripting/AuthNUploadObj.h"
#include "support/EventLog.h"
#include "support/FakeManager.h"
#include "support/RecordingLogger.h"
#include "support/SlotOf.h"
#include <ExternlMediaTransfer/ExternlMediaKeys.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <ostream>
#include <vector>

using namespace KBL;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace {
class AuthNUploadObj : public testing::Test {
 protected:
  void listen() {
    object_->setHostContext(&heard_);
    object_->SetCallback(EventLog::record);
  }

  EventLog heard_;
  std::unique_ptr<CAuthNUploadObj> object_ = std::make_unique<CAuthNUploadObj>();
};

constexpr int managerOf(int platform) {
  return platform == 1 ? 0 : platform == 6 ? 2 : 3;
}

constexpr const char* nameOf(int platform) {
  return platform == 1 ? "youtube" : platform == 6 ? "tiktok" : "douyin";
}

TEST(AuthNUploadObjSlots, StandInTheirOrder) {
  expectSlots(0, &CAuthNUploadObj::SetPlatform, &CAuthNUploadObj::SetAppBrand, &CAuthNUploadObj::GetLoginURL,
              &CAuthNUploadObj::Logout, &CAuthNUploadObj::VerifyRedirectURL, &CAuthNUploadObj::SetAccessToken,
              &CAuthNUploadObj::GetUserInfo, &CAuthNUploadObj::SetCallback, &CAuthNUploadObj::StartUpload,
              &CAuthNUploadObj::StopUpload, &CAuthNUploadObj::SetAppIdAndSecret,
              &CAuthNUploadObj::PushMessage);
}

TEST_F(AuthNUploadObj, OnlyNativePlatformsDoWithoutAScript) {
  for (const std::uint32_t platform : {1U, 6U, 7U}) EXPECT_EQ(object_->SetPlatform(platform), 0) << platform;
  for (const std::uint32_t platform : {0U, 2U, 3U, 4U, 5U, 8U, 99U, 4294967295U}) {
    EXPECT_EQ(object_->SetPlatform(platform), 3) << platform;
  }
}

// --- Calls of the script age

struct ObsoleteCall {
  const char* operation;
  std::function<int(CAuthNUploadObj&)> call;
};

void PrintTo(const ObsoleteCall& call, std::ostream* out) {
  *out << call.operation;
}

class ObsoleteCalls : public testing::TestWithParam<std::tuple<ObsoleteCall, int>> {
 protected:
  ObsoleteCalls() { object_.SetPlatform(static_cast<std::uint32_t>(platform_)); }

  const ObsoleteCall& call_ = std::get<0>(GetParam());
  const int platform_ = std::get<1>(GetParam());
  CAuthNUploadObj object_;
};

TEST_P(ObsoleteCalls, WarnAndDoNothingWhereTheManagerExists) {
  const InstalledManager manager(managerOf(platform_));
  const ScopedRecordingLogger log;
  EXPECT_EQ(call_.call(object_), 0);
  const auto lines = log->linesWith("[AuthNUpload]");
  ASSERT_THAT(lines, SizeIs(1));
  EXPECT_EQ(lines[0].text, std::string("[AuthNUpload] CAuthNUploadObj::") + call_.operation + ", " +
                               nameOf(platform_) + " mark as obsolete");
  EXPECT_EQ(lines[0].severity, 3);
  EXPECT_EQ(lines[0].function, "warnObsolete");
  EXPECT_GT(lines[0].line, 0);
}

TEST_P(ObsoleteCalls, NeedAScriptWithoutAManager) {
  const ScopedRecordingLogger log;
  EXPECT_EQ(call_.call(object_), 3);
  EXPECT_THAT(log->linesWith("obsolete"), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    Calls, ObsoleteCalls,
    testing::Combine(
        testing::Values(
            ObsoleteCall{"SetAppBrand", [](CAuthNUploadObj& object) { return object.SetAppBrand(7); }},
            ObsoleteCall{"GetLoginURL", [](CAuthNUploadObj& object) { return object.GetLoginURL(nullptr); }},
            ObsoleteCall{"VerifyRedirectURL",
                         [](CAuthNUploadObj& object) { return object.VerifyRedirectURL(nullptr, nullptr); }},
            ObsoleteCall{"SetAccessToken",
                         [](CAuthNUploadObj& object) { return object.SetAccessToken(nullptr, nullptr); }},
            ObsoleteCall{
                "SetAppIdAndSecret",
                [](CAuthNUploadObj& object) { return object.SetAppIdAndSecret(nullptr, nullptr, nullptr); }},
            ObsoleteCall{"PushMessage", [](CAuthNUploadObj& object) { return object.PushMessage(nullptr); }}),
        testing::Values(1, 6, 7)),
    [](const auto& test) {
      return std::string(std::get<0>(test.param).operation) + "On" + nameOf(std::get<1>(test.param));
    });

TEST_F(AuthNUploadObj, TwoObsoleteCallsSaySoInTheirErrorText) {
  const InstalledManager manager(ema_youtube);
  object_->SetPlatform(1);
  char error[256] = "before";
  EXPECT_EQ(object_->SetAccessToken("token", error), 0);
  EXPECT_STREQ(error, "CAuthNUploadObj::SetAccessToken, mark as obsolete");
  EXPECT_EQ(object_->VerifyRedirectURL("http://x", error), 0);
  EXPECT_STREQ(error, "CAuthNUploadObj::VerifyRedirectURL, mark as obsolete");
}

TEST_F(AuthNUploadObj, AnObsoleteLoginUrlLeavesTheBuffer) {
  const InstalledManager manager(ema_youtube);
  object_->SetPlatform(1);
  char url[16] = "before";
  EXPECT_EQ(object_->GetLoginURL(url), 0);
  EXPECT_STREQ(url, "before");
}

TEST_F(AuthNUploadObj, WithoutAScriptTheErrorTextIsLeft) {
  object_->SetPlatform(6);
  char error[16] = "before";
  EXPECT_EQ(object_->SetAccessToken("token", error), 3);
  EXPECT_EQ(object_->VerifyRedirectURL("url", error), 3);
  EXPECT_STREQ(error, "before");
}

TEST(WarnObsolete, HoldsForNoOtherPlatformWhateverManagersExist) {
  const InstalledManager youtube(ema_youtube);
  const InstalledManager vimeo(ema_vimeo);
  const InstalledManager tiktok(ema_tiktok);
  const InstalledManager douyin(ema_douyin);
  for (int platform = -1; platform < 10; ++platform) {
    EXPECT_EQ(warnObsolete(platform, "caller"), platform == 1 || platform == 6 || platform == 7) << platform;
  }
}

TEST(WarnObsolete, LooksAtThePlatformsOwnManager) {
  const InstalledManager tiktok(ema_tiktok);
  EXPECT_FALSE(warnObsolete(1, "caller"));
  EXPECT_TRUE(warnObsolete(6, "caller"));
  EXPECT_FALSE(warnObsolete(7, "caller"));
}

// --- Calls that choose a proxy

class NativeCalls : public testing::TestWithParam<int> {
 protected:
  NativeCalls() { object_.SetPlatform(static_cast<std::uint32_t>(GetParam())); }

  CAuthNUploadObj object_;
  hostTransferRecord record_{};
  hostAccountRecord account_{};
};

TEST_P(NativeCalls, AreServedByTheProxyWhereTheManagerExists) {
  const InstalledManager manager(managerOf(GetParam()));
  EXPECT_EQ(object_.StartUpload(&record_), 0);
  EXPECT_THAT(manager->uploads, SizeIs(1));
  EXPECT_EQ(object_.GetUserInfo(&account_), 1);
  EXPECT_EQ(object_.StopUpload(), 0);
  EXPECT_STREQ(manager->uploads[0].info->charKeyConfig("upload_stop"), "user_cancelled");
  manager->logoutResult = resultFailed;
  EXPECT_EQ(object_.Logout(), 1);
}

TEST_P(NativeCalls, NeedAScriptWithoutAManager) {
  EXPECT_EQ(object_.StartUpload(&record_), 3);
  EXPECT_EQ(object_.GetUserInfo(&account_), 3);
  EXPECT_EQ(object_.StopUpload(), 3);
  EXPECT_EQ(object_.Logout(), 3);
}

TEST_P(NativeCalls, AManagerThatComesLaterIsFoundByTheNextCall) {
  ASSERT_EQ(object_.StartUpload(&record_), 3);
  const InstalledManager manager(managerOf(GetParam()));
  EXPECT_EQ(object_.StartUpload(&record_), 0);
}

TEST_P(NativeCalls, LogoutAndStopNeverMakeAProxy) {
  const InstalledManager manager(managerOf(GetParam()));
  EXPECT_EQ(object_.Logout(), 3);
  EXPECT_EQ(object_.StopUpload(), 3);
  EXPECT_THAT(manager->logouts, IsEmpty());
}

TEST_P(NativeCalls, TheProxyOutlivesItsManager) {
  {
    const InstalledManager manager(managerOf(GetParam()));
    ASSERT_EQ(object_.StartUpload(&record_), 0);
  }
  EXPECT_EQ(object_.StartUpload(&record_), 1);
  EXPECT_EQ(object_.Logout(), 1);
  EXPECT_EQ(object_.GetUserInfo(&account_), 1);
  EXPECT_EQ(object_.StopUpload(), 0);
}

TEST_P(NativeCalls, NullRecordsAreRefusedFirst) {
  EXPECT_EQ(object_.StartUpload(nullptr), 2);
  EXPECT_EQ(object_.GetUserInfo(nullptr), 2);
}

TEST_P(NativeCalls, NullRecordsReachNoManager) {
  const InstalledManager manager(managerOf(GetParam()));
  EXPECT_EQ(object_.StartUpload(nullptr), 2);
  EXPECT_EQ(object_.GetUserInfo(nullptr), 2);
  EXPECT_EQ(object_.StopUpload(), 3) << "a proxy was made";
  EXPECT_THAT(manager->userInfos, IsEmpty());
  EXPECT_EQ(object_.StartUpload(&record_), 0);
  EXPECT_EQ(object_.StartUpload(nullptr), 2);
  EXPECT_THAT(manager->uploads, SizeIs(1));
}

INSTANTIATE_TEST_SUITE_P(Platforms, NativeCalls, testing::Values(1, 6, 7));

TEST_F(AuthNUploadObj, VimeoIsNeverNative) {
  const InstalledManager manager(ema_vimeo);
  object_->SetPlatform(2);
  hostAccountRecord account{};
  hostTransferRecord record{};
  EXPECT_EQ(object_->GetUserInfo(&account), 3);
  EXPECT_EQ(object_->StartUpload(&record), 3);
  EXPECT_EQ(object_->SetAppBrand(0), 3);
  EXPECT_THAT(manager->userInfos, IsEmpty());
}

TEST_F(AuthNUploadObj, ItsEndStopsTheUpload) {
  const InstalledManager manager(ema_youtube);
  object_->SetPlatform(1);
  hostTransferRecord record{};
  object_->StartUpload(&record);
  object_.reset();
  EXPECT_STREQ(manager->uploads[0].info->charKeyConfig("upload_stop"), "user_cancelled");
}

// --- userCallBack

struct CallBackCase {
  const char* name;
  unsigned code;
  const char* text;
  int value;
  int severity;  ///< 0: no line
  const char* line;
  int event;  ///< 0: none
  int hostValue;
  const char* hostText;
};

class UserCallBack : public AuthNUploadObj, public testing::WithParamInterface<CallBackCase> {};

TEST_P(UserCallBack, LogsAndTellsTheHost) {
  const CallBackCase& test = GetParam();
  const ScopedRecordingLogger log;
  listen();

  object_->userCallBack(test.code, test.text, test.value);

  if (test.severity == 0) {
    EXPECT_THAT(log->lines(), IsEmpty());
  } else {
    ASSERT_THAT(log->lines(), SizeIs(1));
    EXPECT_EQ(log->lines()[0].text, test.line);
    EXPECT_EQ(log->lines()[0].severity, test.severity);
    EXPECT_EQ(log->lines()[0].function, "KBL::CAuthNUploadObj::userCallBack");
    EXPECT_GT(log->lines()[0].line, 0);
  }
  if (test.event == 0) {
    EXPECT_THAT(heard_.events(), IsEmpty());
  } else {
    EXPECT_THAT(heard_.events(),
                ElementsAre(UploadEvent{nullptr, test.event, test.hostValue, test.hostText}));
  }
}

INSTANTIATE_TEST_SUITE_P(
    Codes, UserCallBack,
    testing::Values(
        CallBackCase{"Progress", 1, "42", 0, 4, "[AuthNUpload][py] Upload progress:42", 7, 42, "(null)"},
        CallBackCase{"ProgressNoNumber", 1, "soon", 0, 4, "[AuthNUpload][py] Upload progress:0", 7, 0,
                     "(null)"},
        CallBackCase{"ProgressNull", 1, nullptr, 0, 4, "[AuthNUpload][py] Upload progress:0", 7, 0, "(null)"},
        CallBackCase{"ProgressHuge", 1, "99999999999999999999", 0, 4,
                     "[AuthNUpload][py] Upload progress:2147483647", 7, 2147483647, "(null)"},
        CallBackCase{"Finished", 2, "https://v", 5, 4, "[AuthNUpload][py] upload finished:https://v", 8, 0,
                     "https://v"},
        CallBackCase{"FinishedEmpty", 2, "", 0, 4, "[AuthNUpload][py] upload finished:", 8, 0, ""},
        CallBackCase{"FinishedNull", 2, nullptr, 0, 4, "[AuthNUpload][py] upload finished:", 8, 0, ""},
        CallBackCase{"Error", 3, "7,x", 9, 4, "[AuthNUpload][py] Upload error:7,x", 12, 9, "7,x"},
        CallBackCase{"ErrorOfValue0", 3, "7,x", 0, 4, "[AuthNUpload][py] Upload error:7,x", 12, 12, "7,x"},
        CallBackCase{"TokenInvalid", 4, "t", 3, 4, "[AuthNUpload][py] Upload token invalid:t", 9, 0, "t"},
        CallBackCase{"Debug", 99, "d", 0, 11, "[AuthNUpload][py] debug:d", 0, 0, ""},
        CallBackCase{"Code0", 0, "x", 0, 0, "", 0, 0, ""}, CallBackCase{"Code5", 5, "x", 0, 0, "", 0, 0, ""},
        CallBackCase{"Code4294967295", 4294967295U, "x", 0, 0, "", 0, 0, ""}),
    [](const auto& test) { return test.param.name; });

TEST_F(AuthNUploadObj, WithoutAHostFunctionNothingIsEvenLogged) {
  const ScopedRecordingLogger log;
  for (const unsigned code : {1U, 2U, 3U, 4U, 99U}) object_->userCallBack(code, "x", 0);
  EXPECT_THAT(log->lines(), IsEmpty());
}

TEST_F(AuthNUploadObj, EventsAfterItsEndReachNobody) {
  listen();
  const auto events = object_->events();
  object_.reset();
  const ScopedRecordingLogger log;
  events->userCallBack(uploadEventFinished, "late", 0);
  EXPECT_THAT(heard_.events(), IsEmpty());
  EXPECT_THAT(log->lines(), IsEmpty());
}

TEST_F(AuthNUploadObj, TheHostContextCanBeReadBack) {
  EXPECT_EQ(object_->hostContext(), nullptr);
  int context = 0;
  object_->setHostContext(&context);
  EXPECT_EQ(object_->hostContext(), &context);
}
}  // namespace
