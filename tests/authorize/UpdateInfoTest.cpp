// updateInfo, the one way in which token data enters the cache.

#include "authorize/CacheFile.h"
#include "authorize/ManagerFixture.h"
#include "boundary/records/Records.h"
#include <BsNet/BsInfoReader.h>
#include <BsNet/cipher.h>
#include <ExternlMediaTransfer/ExternlMediaKeys.h>
#include <ExternlMediaTransfer/ExternlMediaTransfer.h>
#include <KblUtils/KblSqliteUnit.h>

#include <ctime>
#include <iomanip>
#include <memory>
#include <sstream>

using namespace KBL;

namespace {
class UpdateInfo : public ManagerFixture {
 protected:
  void SetUp() override { makeManager(); }

  /// What the file holds, deciphered.
  [[nodiscard]] std::string storedDocument() const {
    KblSqliteUnit unit;
    EXPECT_EQ(unit.open(cacheFile().c_str()), resultOk);
    std::string digits;
    EXPECT_TRUE(readDBAuthorize(unit, digits));
    const std::unique_ptr<char[]> sealed(hexStr2Bytes(digits.c_str(), static_cast<int>(digits.size())));
    std::string plain(digits.size() / 2, '\0');
    EXPECT_EQ(aes256Decrypt(sealed.get(), plain.data(), static_cast<unsigned>(plain.size())), resultOk);
    return plain;
  }
};

RefPtr<BsExternlMediaAuthMixedInfo> mixedInfo(KeyValues values) {
  auto info = makeRef<BsExternlMediaAuthMixedInfo>();
  for (const auto& [key, value] : values) info->setCharKeyConfig(key, value);
  return info;
}
}  // namespace

TEST_F(UpdateInfo, EveryKeyReachesItsField) {
  signIn("u");
  const auto info = mixedInfo({
      {ExternlMediaMixedCharKey::accessToken, "1"},
      {ExternlMediaMixedCharKey::refreshToken, "2"},
      {ExternlMediaMixedCharKey::userAccount, "3"},
      {ExternlMediaMixedCharKey::userAccountUid, "4"},
      {ExternlMediaMixedCharKey::userFirstName, "5"},
      {ExternlMediaMixedCharKey::userLastName, "6"},
      {ExternlMediaMixedCharKey::userNickName, "7"},
      {ExternlMediaMixedCharKey::userAvatarLocal, "8"},
      {ExternlMediaMixedCharKey::userAvatarUrl, "9"},
      {ExternlMediaMixedCharKey::videoCategories, "10"},
      {ExternlMediaMixedCharKey::thirdAccessToken, "11"},
  });
  info->setIntKeyConfig(ExternlMediaMixedIntKey::expiresIn, 12);
  info->setIntKeyConfig(ExternlMediaMixedIntKey::expiresTimestamp, 13);
  EXPECT_EQ(manager->updateInfo("u", info.get()), 0);
  const ExternlMediaCacheInfo record = user("u");
  EXPECT_EQ(record.accessToken, "1");
  EXPECT_EQ(record.refreshToken, "2");
  EXPECT_EQ(record.userAccount, "3");
  EXPECT_EQ(record.userAccountUid, "4");
  EXPECT_EQ(record.userFirstName, "5");
  EXPECT_EQ(record.userLastName, "6");
  EXPECT_EQ(record.userNickName, "7");
  EXPECT_EQ(record.userAvatarLocal, "8");
  EXPECT_EQ(record.userAvatarUrl, "9");
  EXPECT_EQ(record.videoCategories, "10");
  EXPECT_EQ(record.thirdAccessToken, "11");
  EXPECT_EQ(record.expiresIn, 12);
  EXPECT_EQ(record.expiresTimeout, 13);
  ASSERT_EQ(storedUsers().size(), 1U);
  EXPECT_EQ(storedUsers()[0]->userNickName, "7");
}

TEST_F(UpdateInfo, AbsentKeysLeaveTheirFields) {
  signIn("u");
  const ExternlMediaCacheInfo before = user("u");
  manager->updateInfo("u", mixedInfo({{ExternlMediaMixedCharKey::userNickName, "nick"}}).get());
  const ExternlMediaCacheInfo after = user("u");
  EXPECT_EQ(after.userNickName, "nick");
  EXPECT_EQ(after.expiresIn, before.expiresIn);
  EXPECT_EQ(after.expiresTimeout, before.expiresTimeout);
  EXPECT_EQ(after.refreshToken, before.refreshToken);
  EXPECT_EQ(after.userAccountUid, before.userAccountUid);
}

TEST_F(UpdateInfo, AnEmptyTextIsPresentAndOverwrites) {
  signIn("u");
  manager->updateInfo("u", mixedInfo({{ExternlMediaMixedCharKey::refreshToken, ""}}).get());
  EXPECT_EQ(user("u").refreshToken, "");
}

TEST_F(UpdateInfo, ANewPlatformTokenTellsTheHostOnceAndTheSameOneNotAtAll) {
  signIn("u");
  const auto info = mixedInfo({{ExternlMediaMixedCharKey::thirdAccessToken, "fresh-token"}});
  manager->updateInfo("u", info.get());
  manager->updateInfo("u", info.get());
  const auto events = host.events();
  ASSERT_EQ(events.size(), 1U);
  EXPECT_EQ(events[0].kind, HostEvent::tokenChanged);
  EXPECT_EQ(events[0].uuid, "u");
  EXPECT_EQ(events[0].text, "third-u");
  EXPECT_EQ(events[0].second, "fresh-token");
  EXPECT_TRUE(logger->hasLine(tag + ", uuid: u , old:th**d-u , new:fre***token"));
}

TEST_F(UpdateInfo, TheRecordKeepsItsPlaceInTheList) {
  signIn("a");
  signIn("b");
  manager->updateInfo("a", mixedInfo({{ExternlMediaMixedCharKey::userNickName, "x"}}).get());
  EXPECT_EQ(context().cacheEntries[0]->userUuid, "a");
  EXPECT_EQ(context().cacheEntries[1]->userUuid, "b");
}

TEST_F(UpdateInfo, AnUnknownUuidMakesARecordUnderAGeneratedOne) {
  manager->updateInfo("gone", mixedInfo({{ExternlMediaMixedCharKey::accessToken, "account"}}).get());
  const CacheEntries list = context().cacheEntries;
  ASSERT_EQ(list.size(), 1U);
  EXPECT_EQ(list[0]->userUuid.size(), 36U);
  EXPECT_EQ(list[0]->accessToken, "account");
  EXPECT_EQ(list[0]->diskType, ema_youtube);
  EXPECT_EQ(list[0]->diskName, "ema_youtube");
}

TEST_F(UpdateInfo, TheTokenOfAnUnknownUuidIsToldUnderThatUuid) {
  manager->updateInfo("gone", mixedInfo({{ExternlMediaMixedCharKey::thirdAccessToken, "t"}}).get());
  ASSERT_EQ(host.events().size(), 1U);
  EXPECT_EQ(host.events()[0].uuid, "gone");
  EXPECT_EQ(host.events()[0].second, "t");
  EXPECT_NE(context().cacheEntries.at(0)->userUuid, "gone");
}

TEST_F(UpdateInfo, TheHostsCallbacksHearOfATokenInTheirOrder) {
  HostRecorder second;
  manager->addAuthCallback(&second);
  std::string order;
  host.inside = [&](const HostEvent&) { order += "1"; };
  second.inside = [&](const HostEvent&) { order += "2"; };
  signIn("u");
  manager->updateInfo("u", mixedInfo({{ExternlMediaMixedCharKey::thirdAccessToken, "t"}}).get());
  EXPECT_EQ(order, "12");
  manager->removeAuthCallback(&second);
}

TEST_F(UpdateInfo, TheFileSaysWhenItWasSaved) {
  signIn("u");
  manager->updateInfo("u", mixedInfo({{ExternlMediaMixedCharKey::userNickName, "x"}}).get());
  const std::string document = storedDocument();
  const std::string key = "\"save_date_time\":\"";
  const std::size_t begin = document.find(key);
  ASSERT_NE(begin, std::string::npos) << document;
  const std::time_t now = static_cast<std::time_t>(nowSeconds());
  std::ostringstream expected;
  expected << std::put_time(std::localtime(&now), "%Y/%m/%d %H:%M:%S");
  EXPECT_EQ(document.substr(begin + key.size(), expected.str().size() + 1), expected.str() + '"');
}

TEST_F(UpdateInfo, TheListIsCleanedFirst) {
  AuthorizeTestAccess::setEntries(*manager, {makeUser("", 0), makeUser("u", 1), makeUser("u", 2)});
  manager->updateInfo("u", mixedInfo({{ExternlMediaMixedCharKey::userNickName, "x"}}).get());
  ASSERT_EQ(context().cacheEntries.size(), 1U);
  EXPECT_EQ(context().cacheEntries[0]->expiresTimeout, 2);
}

TEST_F(UpdateInfo, NoInfoOrNoUuidChangesNothing) {
  signIn("u");
  EXPECT_EQ(manager->updateInfo("u", nullptr), 1);
  EXPECT_EQ(manager->updateInfo("", mixedInfo({{ExternlMediaMixedCharKey::accessToken, "x"}}).get()), 1);
  EXPECT_EQ(context().cacheEntries.size(), 1U);
  EXPECT_TRUE(storedUsers().empty());
}

TEST_F(UpdateInfo, LogsTheSaveAndTheTokensMasked) {
  signIn("u");
  logger->clear();
  manager->updateInfo("u", mixedInfo({{ExternlMediaMixedCharKey::accessToken, "abcdefghij"},
                                      {ExternlMediaMixedCharKey::refreshToken, "klmnopqrst"}})
                               .get());
  EXPECT_TRUE(logger->hasLine(tag + ", save cloud disk cache, OK"));
  EXPECT_TRUE(logger->hasLine(tag + "access token::abc***ghij"));
  EXPECT_TRUE(logger->hasLine(tag + "refresh token::klm***qrst"));
  for (const LogLine& line : logger->lines()) {
    EXPECT_EQ(line.text.find("abcdefghij"), std::string::npos);
    EXPECT_EQ(line.text.find("klmnopqrst"), std::string::npos);
  }
}

TEST_F(UpdateInfo, AFailedSaveIsLoggedAndTheNextOneTriesAgain) {
  signIn("u");
  std::filesystem::remove_all(directory.path() / "cache");
  manager->updateInfo("u", mixedInfo({{ExternlMediaMixedCharKey::userNickName, "x"}}).get());
  EXPECT_TRUE(logger->hasLine(tag + ", save cloud disk cache, FAILED"));
  EXPECT_EQ(user("u").userNickName, "x");
  std::filesystem::create_directories(directory.path() / "cache");
  manager->updateInfo("u", mixedInfo({{ExternlMediaMixedCharKey::userAccount, "y"}}).get());
  ASSERT_EQ(storedUsers().size(), 1U);
  EXPECT_EQ(storedUsers()[0]->userNickName, "x");
  EXPECT_EQ(storedUsers()[0]->userAccount, "y");
}

TEST_F(UpdateInfo, AManagerThatWasNotInitialisedWritesNoFile) {
  auto* const other = dynamic_cast<BsExternlMediaAuthorize*>(getOrCreateExternlMediaAuthorize(ema_douyin));
  other->updateInfo("u", mixedInfo({{ExternlMediaMixedCharKey::accessToken, "x"}}).get());
  EXPECT_EQ(logger->linesWith(", save cloud disk cache, FAILED").size(), 1U);
  EXPECT_FALSE(std::filesystem::exists("/ema_douyin_cache.db"));
  other->Release();
}
