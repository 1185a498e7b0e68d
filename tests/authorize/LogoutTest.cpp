// Logout, the end of running logins, and what a host reads of a user.

#include "authorize/ManagerFixture.h"
#include "boundary/records/Records.h"
#include "support/WaitUntil.h"
#include <ExternlMediaTransfer/ExternlMediaKeys.h>

using namespace KBL;

namespace {
class Logout : public ManagerFixture {
 protected:
  void SetUp() override { makeManager(); }

  [[nodiscard]] std::vector<std::string> uuids() const {
    std::vector<std::string> found;
    for (const auto& record : context().cacheEntries) found.push_back(record->userUuid);
    return found;
  }
};

class UserInfo : public ManagerFixture {
 protected:
  void SetUp() override { makeManager(); }
  RefPtr<BsExternlMediaAuthUserInfo> out = makeRef<BsExternlMediaAuthUserInfo>();
  void TearDown() override {
    out.reset();
    ManagerFixture::TearDown();
  }
};
}  // namespace

TEST_F(Logout, WithoutUuidRemovesTheLastUserAndNoOther) {
  for (const char* const uuid : {"", static_cast<const char*>(nullptr)}) {
    AuthorizeTestAccess::setEntries(*manager, {makeUser("a", 1), makeUser("b", 1)});
    EXPECT_EQ(manager->logout(uuid), resultOk);
    EXPECT_EQ(uuids(), std::vector<std::string>{"a"});
    ASSERT_EQ(storedUsers().size(), 1U);
    EXPECT_EQ(storedUsers()[0]->userUuid, "a");
  }
  EXPECT_TRUE(host.events().empty());
}

TEST_F(Logout, WithAUuidRemovesThatUser) {
  AuthorizeTestAccess::setEntries(*manager, {makeUser("a", 1), makeUser("b", 1), makeUser("c", 1)});
  EXPECT_EQ(manager->logout("b"), resultOk);
  EXPECT_EQ(uuids(), (std::vector<std::string>{"a", "c"}));
  EXPECT_TRUE(logger->hasLine(tag + ", session id: b, size:3"));
  EXPECT_TRUE(logger->hasLine(tag + ", to cancelLogin"));
  EXPECT_TRUE(logger->hasLine(tag + ", remove session id: b"));
  EXPECT_TRUE(logger->hasLine(tag + ", save cloud disk cache, OK"));
}

TEST_F(Logout, OfTheLastUserEmptiesTheFile) {
  signIn("u");
  EXPECT_EQ(manager->logout("u"), resultOk);
  logger->clear();
  EXPECT_EQ(manager->init(directory.file("cache").c_str(), 0), resultOk);
  EXPECT_TRUE(logger->hasLine(tag + ", load cacheFAILED"));
  EXPECT_TRUE(context().cacheEntries.empty());
}

TEST_F(Logout, OfAnUnknownUserLeavesTheFileButHasCanceledTheLogins) {
  signIn("u");
  startHeldLogin();
  EXPECT_EQ(manager->logout("other"), resultFailed);
  EXPECT_EQ(AuthorizeTestAccess::liveRequests(*manager), 0U);
  EXPECT_EQ(uuids(), std::vector<std::string>{"u"});
  EXPECT_TRUE(storedUsers().empty());
  const auto lines = logger->linesWith(" not exist");
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_EQ(lines[0].text, tag + ", remove session id: other not exist");
  EXPECT_EQ(lines[0].severity, IBsLogger::severityError);
  network.open("/credentials");
}

TEST_F(Logout, WithoutUsersIsAnsweredLikeAVerification) {
  EXPECT_EQ(manager->logout("u"), resultFailed);
  const auto events = host.events();
  ASSERT_EQ(events.size(), 1U);
  EXPECT_EQ(events[0].infoType, infoTypeVerifyAccessToken);
  EXPECT_EQ(events[0].code, -10021);
  EXPECT_EQ(events[0].text, tag + ", empty data");
}

TEST_F(Logout, WithoutUsersEndsTheLoginsAllTheSame) {
  startHeldLogin();
  AuthorizeTestAccess::setEntries(*manager, {});
  EXPECT_EQ(manager->logout(""), resultFailed);
  EXPECT_EQ(AuthorizeTestAccess::liveRequests(*manager), 0U);
  network.open("/credentials");
  ASSERT_TRUE(runUntil([&] { return requestsAlive() == 0; }));
  EXPECT_TRUE(network.exchanges("/session").empty());
}

TEST_F(Logout, StopsTheUsersRefresher) {
  armRefresh("u");
  const auto refresher = proxy("u");
  manager->logout("u");
  EXPECT_TRUE(refresher->stopping());
  EXPECT_EQ(proxy("u"), nullptr);
  EXPECT_TRUE(logger->hasLine("waiting to stop..."));
}

TEST_F(Logout, WaitsATenthOfASecondForARefreshUnderWay) {
  startHeldRefresh("u");
  expectToWaitATenthOfASecond([&] { manager->logout("u"); });
  network.open("/token");
}

TEST_F(UserInfo, FillsEveryKey) {
  auto record = makeUser("u", 1);
  record.userFirstName = "first";
  record.userLastName = "last";
  record.userNickName = "nick";
  record.userAccount = "account";
  record.videoCategories = "A|B|";
  AuthorizeTestAccess::setEntries(*manager, {makeUser("x", 1), record});
  for (const char* const uuid : {"u", "", static_cast<const char*>(nullptr)}) {
    out->reset();
    EXPECT_EQ(manager->userInfo(uuid, out.get()), resultOk);
    EXPECT_STREQ(out->charKeyConfig(ExternlMediaAuthUserCharKey::userSessionId), "u");
    EXPECT_STREQ(out->charKeyConfig(ExternlMediaAuthUserCharKey::userFirstName), "first");
    EXPECT_STREQ(out->charKeyConfig(ExternlMediaAuthUserCharKey::userLastName), "last");
    EXPECT_STREQ(out->charKeyConfig(ExternlMediaAuthUserCharKey::userNickName), "nick");
    EXPECT_STREQ(out->charKeyConfig(ExternlMediaAuthUserCharKey::userAccount), "account");
    EXPECT_STREQ(out->charKeyConfig(ExternlMediaMixedCharKey::userAccountUid), "uid-u");
    EXPECT_STREQ(out->charKeyConfig(ExternlMediaAuthUserCharKey::videoCategories), "A|B|");
    EXPECT_STREQ(out->charKeyConfig(ExternlMediaAuthUserCharKey::thirdAccessToken), "third-u");
  }
  EXPECT_TRUE(logger->hasLine(tag + ", session id: u, size:2"));
}

TEST_F(UserInfo, OfAnUnknownUserLeavesTheRecordAsItWas) {
  out->setCharKeyConfig(ExternlMediaAuthUserCharKey::userNickName, "before");
  EXPECT_EQ(manager->userInfo("u", out.get()), resultFailed);
  signIn("u");
  EXPECT_EQ(manager->userInfo("other", out.get()), resultFailed);
  EXPECT_STREQ(out->charKeyConfig(ExternlMediaAuthUserCharKey::userNickName), "before");
  EXPECT_EQ(out->charKeyConfig(ExternlMediaAuthUserCharKey::userSessionId), nullptr);
  EXPECT_EQ(manager->userInfo("u", nullptr), resultFailed);
}
