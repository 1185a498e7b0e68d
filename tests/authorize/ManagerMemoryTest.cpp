// The manager when memory runs out, at each allocation of a call in turn: every operation answers with a
// result code, nothing leaks, and the last Release succeeds.

#include "authorize/ManagerMemoryFixture.h"
#include "boundary/records/Records.h"
#include <BsNet/NetKeys.h>
#include <BsNet/createInfoObject.h>
#include <ExternlMediaTransfer/ExternlMediaKeys.h>
#include <ExternlMediaTransfer/ExternlMediaTransfer.h>

using namespace KBL;

TEST_F(ManagerMemory, Init) {
  const std::string folder = directory.file("cache of some length");
  EXPECT_GE(failures([&] { return manager->init(folder.c_str(), 1'000'000); }), 1);
}

TEST_F(ManagerMemory, Settings) {
  const auto pubInfo = adoptRef(createInfoObject(infoObjectPubInfo));
  EXPECT_GE(
      failures([&] { return manager->setPubParam(queryInterface<IBsPubInfo>(pubInfo.get(), "IBsPubInfo")); }),
      1);
  const auto proxy = adoptRef(createInfoObject(infoObjectServerProxy));
  auto* const proxyInfo = queryInterface<IBsServerProxyInfo>(proxy.get(), "IBsServerProxyInfo");
  EXPECT_GE(failures([&] { return manager->setServerProxy(proxyInfo); }), 1);
  EXPECT_EQ(context().serverProxy.get(), proxyInfo);
}

TEST_F(ManagerMemory, Callbacks) {
  EXPECT_GE(failures([&] { return manager->addAuthCallback(&host); }), 1);
  EXPECT_EQ(context().authCallbacks.size(), 2U);
  EXPECT_GE(failures([&] { return manager->removeAuthCallback(&host); }), 1);
  EXPECT_EQ(context().authCallbacks.size(), 1U);
}

TEST_F(ManagerMemory, LoginThatIsRefusedIsNotLeftBehind) {
  const auto info = makeInfo(infoTypeLogin, {{ExternlMediaLoginCharKey::platformId, "0"},
                                             {ExternlMediaLoginCharKey::userSessionId, "first user of all"}});
  std::size_t before = 0;
  const auto login = [&] {
    const _Result result = manager->toExternlMediaAuth(info.get());
    before = AuthorizeTestAccess::liveRequests(*manager) - (result == resultOk ? 1 : 0);
    return result;
  };
  EXPECT_GE(failures(login, resultOk,
                     [&] {
                       EXPECT_EQ(before, 0U);
                       quieten();
                     }),
            10);
}

TEST_F(ManagerMemory, Verification) {
  EXPECT_GE(failures([&] { return manager->toVerifyAccessToken("first user of all"); }, resultOk,
                     [this] { quieten(); }),
            5);
  EXPECT_GE(failures([&] { return manager->toVerifyAccessToken("nobody of that name"); }, resultFailed), 1);
}

TEST_F(ManagerMemory, RefusalOfAVerification) {
  AuthorizeTestAccess::setEntries(*manager, {});
  EXPECT_GE(failures([&] { return manager->toVerifyAccessToken("first user of all"); }, resultFailed), 1);
}

TEST_F(ManagerMemory, LogoutSucceedsWhereTheUserHasGoneAndLeavesNoDeadRefresher) {
  const std::string uuid = "last user of all";
  const auto info = makeInfo(infoTypeRefreshToken);
  const auto arm = [&] {
    AuthorizeTestAccess::scheduleTokenRefresh(*manager, uuid, info.get(), true);
    EXPECT_FALSE(proxy(uuid)->stopping());
  };
  arm();
  _Result result = resultFailed;
  EXPECT_GE(failures([&] { return result = manager->logout(uuid.c_str()); }, resultOk,
                     [&] {
                       const bool gone = user(uuid).userUuid.empty();
                       EXPECT_EQ(result, gone ? resultOk : resultFailed);
                       if (!gone) return;
                       signIn(uuid);
                       arm();
                     }),
            1);
}

TEST_F(ManagerMemory, UserInfo) {
  const auto out = adoptRef(createRecord(infoTypeUser));
  auto* const info = queryInterface<IBsExternlMediaAuthUserInfo>(out.get(), "IBsExternlMediaAuthUserInfo");
  EXPECT_GE(failures([&] { return manager->userInfo("first user of all", info); }), 3);
  EXPECT_STREQ(out->charKeyConfig(ExternlMediaAuthUserCharKey::thirdAccessToken), "third-first user of all");
}

TEST_F(ManagerMemory, Consume) {
  const auto info = makeInfo(infoTypeConsume, {{ExternlMediaLoginCharKey::userSessionId, "first user of all"},
                                               {ExternlUserConsumeCharKey::use_client, "11"}});
  EXPECT_GE(failures([&] { return manager->toConsume(info.get()); }, resultOk, [this] { quieten(); }), 10);
}

TEST_F(ManagerMemory, CancelLogin) {
  const auto info = makeInfo(infoTypeLogin, {{ExternlMediaLoginCharKey::platformId, "0"}});
  EXPECT_EQ(failures([&] { return manager->cancelLogin(); }, resultOk,
                     [&] {
                       EXPECT_EQ(AuthorizeTestAccess::liveRequests(*manager), 0U);
                       quieten();
                       EXPECT_EQ(manager->toExternlMediaAuth(info.get()), resultOk);
                     }),
            0);
  quieten();
}

TEST_F(ManagerMemory, AccessToken) {
  char buffer[64] = {};
  EXPECT_GE(failures([&] { return manager->getAccessToken("first user of all", buffer); }), 1);
  EXPECT_STREQ(buffer, "third-first user of all");
  EXPECT_EQ(failures([&] { return manager->platform() == ema_youtube ? resultOk : resultFailed; }), 0);
}

TEST_F(ManagerMemory, AnUploadThatCannotBeStartedThrowsNothingFromItsThreads) {
  const auto info = makeRef<BsExternlMediaUploadInfo>();
  info->setCharKeyConfig(ExternlMediaUploadCharKey::filePath, directory.file("missing.mp4").c_str());
  EXPECT_GE(failures(
                [&] {
                  try {
                    manager->asyncUploadMediaFile(info.get(), nullptr, 1);
                    return resultOk;
                  } catch (const std::bad_alloc&) {
                    return resultFailed;  // the transfer's to answer
                  }
                },
                resultOk, [this] { quieten(); }),
            5);
}

TEST_F(ManagerMemory, TheLastReleaseSucceedsWithoutMemory) {
  for (int successes = 0; successes < moreThanAnyCallNeeds; ++successes) {
    if (manager == nullptr) makeManager();
    for (int number = 0; number < 20; ++number) signIn("user of number " + std::to_string(number));
    const auto info = makeInfo(infoTypeRefreshToken);
    AuthorizeTestAccess::scheduleTokenRefresh(*manager, "user of number 1", info.get(), true);
    std::weak_ptr<ISwitchboardManager> core = manager->core();
    int left = -1;
    bool wasShort = false;
    {
      const ScopedFailingAllocation shortage(successes);
      EXPECT_NO_THROW(left = std::exchange(manager, nullptr)->Release());
      wasShort = ScopedFailingAllocation::hasFailed();
    }
    EXPECT_EQ(left, 0);
    EXPECT_TRUE(core.expired());
    EXPECT_EQ(getExternlMediaAuthorize(ema_youtube), nullptr);
    if (!wasShort) return;
  }
  ADD_FAILURE() << "it never had enough";
}
