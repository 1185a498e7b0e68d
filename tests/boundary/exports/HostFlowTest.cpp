// What a host does, from its first call to its last, with the exported interface alone.

#include "sandbox/Sandbox.h"
#include "support/HostRecorder.h"
#include "support/ManualTimeSource.h"
#include "support/TemporaryDirectory.h"
#include <BsCloudConfig/BsCloudConfig.h>
#include <BsNet/NetKeys.h>
#include <BsNet/cipher.h>
#include <BsNet/createInfoObject.h>
#include <ExternlMediaTransfer/ExternlMediaKeys.h>
#include <ExternlMediaTransfer/ExternlMediaTransfer.h>
#include <KblUtils/CastByName.h>
#include <KblUtils/RefPtr.h>

#include <gtest/gtest.h>

using namespace KBL;

namespace {
class HostFlow : public testing::Test {
 protected:
  HostFlow() {
    setKeyStore(makeFileKeyStore(directory_.file("keys")));
    setCloudConfig(sandbox_.cloudConfig());
  }
  ~HostFlow() override {
    EXPECT_TRUE(time_->advanceUntil([&] { return time_->waiters() == 0; }, 500));
    clearCloudConfig();
    setKeyStore(nullptr);
  }

  [[nodiscard]] RefPtr<IBsExternlMediaAuthorize> openManager() {
    auto manager = adoptRef(getOrCreateExternlMediaAuthorize(ema_youtube));
    const auto record = adoptRef(createInfoObject(infoObjectPubInfo));
    auto* const pubInfo = queryInterface<IBsPubInfo>(record.get(), "IBsPubInfo");
    pubInfo->setCharKeyConfig(PubCharKey::appSecret, "sandbox-app-secret");
    EXPECT_EQ(manager->init(directory_.file("cache").c_str(), 1800000), resultOk);
    EXPECT_EQ(manager->setPubParam(pubInfo), resultOk);
    EXPECT_EQ(manager->addAuthCallback(&host_), resultOk);
    return manager;
  }
  [[nodiscard]] bool runUntil(HostEvent::Kind kind, std::size_t count) {
    return time_->advanceUntil([&] { return host_.events(kind).size() >= count; }, 500);
  }

  TemporaryDirectory directory_;
  ScopedManualTime time_;
  sandbox::Sandbox sandbox_;
  HostRecorder host_;
};

RefPtr<IBsInfoReader> loginRecord() {
  auto record = adoptRef(createExternlMediaAuthInfoObject(infoTypeLogin));
  queryInterface<IBsExternlMediaLoginInfo>(record.get(), "IBsExternlMediaLoginInfo")
      ->setCharKeyConfig(ExternlMediaLoginCharKey::platformId, "0");
  return record;
}
}  // namespace

TEST_F(HostFlow, SignsInReadsTheUserVerifiesInANewLifeAndSignsOut) {
  std::string uuid;
  {
    const auto manager = openManager();
    EXPECT_EQ(manager->toExternlMediaAuth(loginRecord().get()), resultOk);
    ASSERT_TRUE(runUntil(HostEvent::callbackUrl, 1));
    ASSERT_EQ(host_.events(HostEvent::response).size(), 1U);
    EXPECT_EQ(host_.events(HostEvent::response)[0].code, 0);
    uuid = host_.events(HostEvent::loginUrl).at(0).uuid;

    const auto user = adoptRef(createExternlMediaAuthInfoObject(infoTypeUser));
    auto* const record =
        queryInterface<IBsExternlMediaAuthUserInfo>(user.get(), "IBsExternlMediaAuthUserInfo");
    ASSERT_EQ(manager->userInfo(uuid.c_str(), record), resultOk);
    EXPECT_EQ(user->charKeyConfig(ExternlMediaAuthUserCharKey::userAccount), sandbox_.users().at(0).email);
    EXPECT_STREQ(user->charKeyConfig(ExternlMediaAuthUserCharKey::userSessionId), uuid.c_str());
  }
  EXPECT_EQ(getExternlMediaAuthorize(ema_youtube), nullptr);

  const auto manager = openManager();
  EXPECT_EQ(manager->toVerifyAccessToken(uuid.c_str()), resultOk);
  ASSERT_TRUE(runUntil(HostEvent::response, 2));
  EXPECT_EQ(host_.events(HostEvent::response)[1].infoType, infoTypeVerifyAccessToken);
  EXPECT_EQ(host_.events(HostEvent::response)[1].code, 0);

  EXPECT_EQ(manager->logout(uuid.c_str()), resultOk);
  EXPECT_EQ(manager->toVerifyAccessToken(uuid.c_str()), resultFailed);
  EXPECT_EQ(host_.events(HostEvent::response).back().code, -10021);
  manager->removeAuthCallback(&host_);
}

TEST_F(HostFlow, AConsumeQueryGetsOneAnswer) {
  const auto manager = openManager();
  const auto record = adoptRef(createExternlMediaAuthInfoObject(infoTypeConsume));
  EXPECT_EQ(manager->toConsume(record.get()), resultOk);
  ASSERT_TRUE(runUntil(HostEvent::response, 1));
  EXPECT_EQ(host_.events(HostEvent::response)[0].infoType, infoTypeConsume);
  EXPECT_EQ(host_.events(HostEvent::response)[0].code, 0);
}
