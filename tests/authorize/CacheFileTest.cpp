#include "authorize/CacheDocument.h"
#include "authorize/CacheFile.h"
#include "authorize/ManagerFixture.h"
#include <BsNet/cipher.h>
#include <KblUtils/KblSqliteUnit.h>

#include <gtest/gtest.h>

#include <filesystem>

using namespace KBL;

namespace {
class CacheFile : public testing::Test {
 protected:
  CacheFile() { setKeyStore(makeFileKeyStore(directory.file("keys"))); }
  ~CacheFile() override { setKeyStore(nullptr); }

  [[nodiscard]] std::string path() const { return cacheFilePath(directory.path().string(), ema_youtube); }
  void store(const std::string& text) const {
    KblSqliteUnit unit;
    ASSERT_EQ(unit.open(path().c_str()), resultOk);
    ASSERT_EQ(unit.createSettingTable("AppSetting"), resultOk);
    ASSERT_EQ(unit.setSettingValue("AppSetting", "Authorize", text.c_str()), resultOk);
  }
  [[nodiscard]] std::string stored() const {
    KblSqliteUnit unit;
    EXPECT_EQ(unit.open(path().c_str()), resultOk);
    std::string text;
    EXPECT_TRUE(readDBAuthorize(unit, text));
    return text;
  }

  ScopedRecordingLogger logger;
  TemporaryDirectory directory;
};

CacheEntries listOf(std::initializer_list<const char*> uuids) {
  CacheEntries list;
  for (const char* const uuid : uuids) {
    ExternlMediaCacheInfo record;
    record.userUuid = uuid;
    record.userNickName = std::to_string(list.size());
    list.emplace_back(record);
  }
  return list;
}
}  // namespace

TEST_F(CacheFile, IsNamedAfterThePlatform) {
  EXPECT_EQ(cacheFilePath("/tmp/cache", ema_youtube), "/tmp/cache/ema_youtube_cache.db");
  EXPECT_EQ(cacheFilePath("/tmp/cache/", ema_vimeo), "/tmp/cache/ema_vimeo_cache.db");
  EXPECT_EQ(cacheFilePath("/tmp/cache", ema_tiktok), "/tmp/cache/ema_tiktok_cache.db");
  EXPECT_EQ(cacheFilePath("/tmp/cache", ema_douyin), "/tmp/cache/ema_douyin_cache.db");
}

TEST_F(CacheFile, ANewFileGetsItsTableAndYieldsNoRecords) {
  CacheEntries list = listOf({"left over"});
  EXPECT_FALSE(loadCacheFile(path(), list));
  EXPECT_TRUE(list.empty());
  EXPECT_TRUE(std::filesystem::exists(path()));
  EXPECT_EQ(stored(), "");
}

TEST_F(CacheFile, WhatIsSavedIsLoadedInOrder) {
  ASSERT_TRUE(saveCacheFile(path(), listOf({"a", "b"})));
  CacheEntries list;
  ASSERT_TRUE(loadCacheFile(path(), list));
  ASSERT_EQ(list.size(), 2U);
  EXPECT_EQ(list[0]->userUuid, "a");
  EXPECT_EQ(list[1]->userUuid, "b");
}

TEST_F(CacheFile, IsKeptUnderItsNames) {
  ASSERT_TRUE(saveCacheFile(path(), listOf({"a"})));
  KblSqliteUnit unit;
  ASSERT_EQ(unit.open(path().c_str()), resultOk);
  char* value = nullptr;
  EXPECT_EQ(unit.getSettingValue("AppSetting", "Authorize", &value), resultOk);
  EXPECT_NE(value, nullptr);
  KblSqliteUnit::freeSettingValue(value);
}

TEST_F(CacheFile, TwoRecordsOfOneUserLoadAsTwo) {
  ASSERT_TRUE(saveCacheFile(path(), listOf({"a", "b", "a"})));
  CacheEntries list;
  ASSERT_TRUE(loadCacheFile(path(), list));
  ASSERT_EQ(list.size(), 3U);
  EXPECT_EQ(list[0]->userNickName, "0");
  EXPECT_EQ(list[2]->userNickName, "2");
}

TEST_F(CacheFile, HoldsNoPlainSecret) {
  ExternlMediaCacheInfo user;
  user.refreshToken = "a-refresh-token-in-plain-text";
  const CacheEntries list = {user};
  ASSERT_TRUE(saveCacheFile(path(), list));
  EXPECT_EQ(directory.read("ema_youtube_cache.db").find("a-refresh-token"), std::string::npos);
}

TEST_F(CacheFile, AnEmptyListIsSavedAndLoadsAsFailure) {
  ASSERT_TRUE(saveCacheFile(path(), {}));
  EXPECT_EQ(stored().size(), 32U);
  CacheEntries list;
  EXPECT_FALSE(loadCacheFile(path(), list));
  EXPECT_TRUE(list.empty());
}

TEST_F(CacheFile, GarbageDoesNotLoadAndTheNextSaveReplacesIt) {
  directory.write("ema_youtube_cache.db", std::string(5000, 'g'));
  CacheEntries list;
  EXPECT_FALSE(loadCacheFile(path(), list));
  ASSERT_TRUE(saveCacheFile(path(), listOf({"a"})));
  EXPECT_TRUE(loadCacheFile(path(), list));
}

TEST_F(CacheFile, ATruncatedFileDoesNotLoadAndTheNextSaveReplacesIt) {
  ASSERT_TRUE(saveCacheFile(path(), listOf({"a"})));
  std::filesystem::resize_file(path(), 700);
  CacheEntries list;
  EXPECT_FALSE(loadCacheFile(path(), list));
  ASSERT_TRUE(saveCacheFile(path(), listOf({"b"})));
  ASSERT_TRUE(loadCacheFile(path(), list));
  EXPECT_EQ(list[0]->userUuid, "b");
}

TEST_F(CacheFile, ASettingOfSeventeenDigitsDoesNotLoad) {
  store(std::string(17, 'a'));
  CacheEntries list;
  EXPECT_FALSE(loadCacheFile(path(), list));
}

TEST_F(CacheFile, ALostKeyMakesTheFileUnreadableAndNothingWorse) {
  ASSERT_TRUE(saveCacheFile(path(), listOf({"a"})));
  setKeyStore(makeFileKeyStore(directory.file("other keys")));
  CacheEntries list;
  EXPECT_FALSE(loadCacheFile(path(), list));
  EXPECT_TRUE(list.empty());
}

TEST_F(CacheFile, AFolderThatIsMissingNeitherLoadsNorSaves) {
  const std::string nowhere = directory.file("missing/ema_youtube_cache.db");
  CacheEntries list;
  EXPECT_FALSE(loadCacheFile(nowhere, list));
  EXPECT_FALSE(saveCacheFile(nowhere, listOf({"a"})));
}

TEST_F(CacheFile, AUnitThatIsNotOpenReadsNothing) {
  KblSqliteUnit unit;
  std::string text = "untouched";
  EXPECT_FALSE(readDBAuthorize(unit, text));
  EXPECT_EQ(text, "untouched");
}

TEST_F(CacheFile, ATableThatCannotBeMadeIsLogged) {
  directory.write("ema_youtube_cache.db", std::string(5000, 'g'));
  KblSqliteUnit unit;
  ASSERT_EQ(unit.open(path().c_str()), resultOk);
  std::string text;
  EXPECT_FALSE(readDBAuthorize(unit, text));
  const auto lines = logger->linesWith("create table appsetting FAILED");
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_EQ(lines[0].text, "create table appsetting FAILED");
  EXPECT_EQ(lines[0].function, "KBL::BsExternlMediaAuthorize::readDBAuthorize");
  EXPECT_EQ(lines[0].severity, IBsLogger::severityError);
}

TEST(CacheCleaning, DeletesRecordsWithoutUuid) {
  CacheEntries list = listOf({"", "a", ""});
  removeInvalidCacheInfos(list);
  ASSERT_EQ(list.size(), 1U);
  EXPECT_EQ(list[0]->userUuid, "a");
}

TEST(CacheCleaning, OfTwoWithOneUuidTheLaterStays) {
  CacheEntries list = listOf({"a", "b", "a"});
  removeInvalidCacheInfos(list);
  ASSERT_EQ(list.size(), 2U);
  EXPECT_EQ(list[0]->userUuid, "b");
  EXPECT_EQ(list[1]->userUuid, "a");
  EXPECT_EQ(list[1]->userNickName, "2");
}
