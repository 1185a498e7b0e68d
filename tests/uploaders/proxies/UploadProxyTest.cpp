// The operations of the three upload proxies, one design, each test for each of them.
#include "uploaders/proxies/UploadProxyFixture.h"

using namespace KBL;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {
class UploadProxy : public UploadProxyFixture {};
INSTANTIATE_TEST_SUITE_P(Platforms, UploadProxy, testing::ValuesIn(proxyCases), proxyCaseName);

// --- StartUpload

TEST_P(UploadProxy, StartCopiesTheRecordIntoAnUploadInfo) {
  const InstalledManager manager(GetParam().managerIndex);
  const auto proxy = makeProxy(sink_);
  hostTransferRecord record = someRecord();

  ASSERT_EQ(proxy->StartUpload(&record), 0);

  ASSERT_EQ(manager->uploads.size(), 1U);
  IBsInfoReader* const info = manager->uploads[0].info.get();
  EXPECT_EQ(info->infoType(), 406);
  EXPECT_EQ(textIn(*info, "upload_seq"), "0");
  EXPECT_EQ(textIn(*info, "upload_file_path"), "/videos/Müller.mp4");
  EXPECT_EQ(textIn(*info, "upload_title"), "a title");
  EXPECT_EQ(textIn(*info, "upload_desc"), "a description");
  EXPECT_EQ(textIn(*info, "upload_tags"), "one,two");
  EXPECT_EQ(textIn(*info, "upload_category"), "22");
  EXPECT_EQ(textIn(*info, "upload_privacy"), "unlisted");
  EXPECT_EQ(textIn(*info, "upload_thumbnail_path"), "/videos/cover.png");
  EXPECT_EQ(textIn(*info, "externlmedia_user_uuid"), "user-7");
  EXPECT_EQ(textIn(*info, "user_consume_use_client"), "3");
  EXPECT_EQ(textIn(*info, "user_consume_action_type"), "-4");
  EXPECT_EQ(textIn(*info, "upload_stop"), "(unset)");
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
  EXPECT_EQ(textIn(*info, "upload_file_path"), std::string(1024, 'x'));
  EXPECT_EQ(textIn(*info, "upload_desc"), std::string(8192, 'x'));
  EXPECT_EQ(textIn(*info, "upload_tags"), std::string(512, 'x'));
  EXPECT_EQ(textIn(*info, "upload_category"), std::string(48, 'x'));
  EXPECT_EQ(textIn(*info, "upload_privacy"), std::string(48, 'x'));
  EXPECT_EQ(textIn(*info, "upload_thumbnail_path"), std::string(1024, 'x'));
  EXPECT_EQ(textIn(*info, "externlmedia_user_uuid"), std::string(256, 'x'));
}

TEST_P(UploadProxy, StartWithoutAManagerReturns1) {
  const auto proxy = makeProxy(sink_);
  hostTransferRecord record{};
  EXPECT_EQ(proxy->StartUpload(&record), 1);
}

TEST_P(UploadProxy, AStartWithoutAManagerStillTakesThePlaceOfTheFormerUpload) {
  const auto proxy = makeProxy(sink_);
  hostTransferRecord record{};
  RefPtr<IBsExternlMediaUploadInfo> former;
  {
    const InstalledManager manager(GetParam().managerIndex);
    proxy->StartUpload(&record);
    former = manager->uploads.at(0).info;
  }

  EXPECT_EQ(proxy->StartUpload(&record), 1);
  proxy->StopUpload();

  EXPECT_EQ(textIn(*former, "upload_stop"), "(unset)");
}

TEST_P(UploadProxy, TheKeysOfTheUserReplaceThoseOfTheRecord) {
  const InstalledManager manager(GetParam().managerIndex);
  manager->onUserInfo = [](const std::string&, IBsExternlMediaAuthUserInfo* out) {
    out->setCharKeyConfig(ExternlMediaLoginCharKey::userSessionId, "user-9");
    return resultOk;
  };
  const auto proxy = makeProxy(sink_);
  hostTransferRecord record = someRecord();

  proxy->StartUpload(&record);

  EXPECT_EQ(textIn(*manager->uploads.at(0).info, "externlmedia_user_uuid"),
            GetParam().copiesUser ? "user-9" : "user-7");
}

TEST_P(UploadProxy, AManagerThatCannotUploadIsNoError) {
  const InstalledManager manager(GetParam().managerIndex);
  manager->canUpload = false;
  const auto proxy = makeProxy(sink_);
  hostTransferRecord record{};

  EXPECT_EQ(proxy->StartUpload(&record), 0);
  EXPECT_THAT(manager->uploads, IsEmpty());
  EXPECT_THAT(sink_->events(), IsEmpty());
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
  EXPECT_EQ(textIn(*info, ExternlMediaMixedCharKey::userAccountUid),
            GetParam().copiesUser ? "open-id-1" : "(unset)");
  EXPECT_EQ(manager->userInfos,
            GetParam().copiesUser ? std::vector<std::string>{"user-7"} : std::vector<std::string>{});
  EXPECT_EQ(textIn(*info, "upload_file_path"), "/videos/Müller.mp4");
}

TEST_P(UploadProxy, AnUnknownUserStillStartsTheUpload) {
  const InstalledManager manager(GetParam().managerIndex);
  manager->onUserInfo = [](const std::string&, IBsExternlMediaAuthUserInfo*) { return resultFailed; };
  const auto proxy = makeProxy(sink_);
  hostTransferRecord record{};

  EXPECT_EQ(proxy->StartUpload(&record), 0);
  EXPECT_EQ(manager->uploads.size(), 1U);
}

TEST_P(UploadProxy, TheKeysOfAUserAreCopiedWhateverTheManagerSaysOfHim) {
  const InstalledManager manager(GetParam().managerIndex);
  manager->onUserInfo = [](const std::string&, IBsExternlMediaAuthUserInfo* out) {
    out->setCharKeyConfig(ExternlMediaMixedCharKey::userAccountUid, "open-id-1");
    return resultFailed;
  };
  const auto proxy = makeProxy(sink_);
  hostTransferRecord record{};

  proxy->StartUpload(&record);

  EXPECT_EQ(textIn(*manager->uploads.at(0).info, ExternlMediaMixedCharKey::userAccountUid),
            GetParam().copiesUser ? "open-id-1" : "(unset)");
}

// --- StopUpload

TEST_P(UploadProxy, StopWritesTheFlagOfTheNewestUploadOnly) {
  const InstalledManager manager(GetParam().managerIndex);
  const auto proxy = makeProxy(sink_);
  hostTransferRecord record = someRecord();
  proxy->StartUpload(&record);
  proxy->StartUpload(&record);

  EXPECT_EQ(proxy->StopUpload(), 0);

  EXPECT_EQ(textIn(*manager->uploads[0].info, "upload_stop"), "(unset)");
  EXPECT_EQ(textIn(*manager->uploads[1].info, "upload_stop"), "user_cancelled");
  EXPECT_THAT(sink_->events(), IsEmpty());
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

  EXPECT_EQ(textIn(*manager->uploads[1].info, "upload_stop"), "(unset)");
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
}  // namespace
