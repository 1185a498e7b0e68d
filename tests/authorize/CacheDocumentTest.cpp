#include "authorize/CacheDocument.h"
#include "authorize/ManagerFixture.h"
#include "json/JsonAccess.h"
#include "support/Seed.h"
#include <BsNet/cipher.h>

#include <gtest/gtest.h>
#include <json/reader.h>
#include <json/value.h>

#include <cstdint>
#include <limits>

using namespace KBL;

namespace {
class CacheDocument : public testing::Test {
 protected:
  CacheDocument() { setKeyStore(makeFileKeyStore(directory_.file("keys"))); }
  ~CacheDocument() override { setKeyStore(nullptr); }

  /// The digits of any padded text.
  static std::string sealed(const std::string& padded) {
    const auto text = sealCacheDocument(padded, CipherKey::current());
    EXPECT_TRUE(text.has_value());
    return text.value_or("");
  }

 private:
  TemporaryDirectory directory_;
};

std::optional<CacheEntries> opened(const std::string& text) {
  return openCacheText(text, CipherKey::current());
}

ExternlMediaCacheInfo fullRecord() {
  ExternlMediaCacheInfo record;
  record.thirdAccessToken = "third";
  record.accessToken = "account";
  record.refreshToken = "refresh";
  record.expiresIn = 3600;
  record.expiresTimeout = 1'700'000'000'000;
  record.diskType = ema_tiktok;
  record.diskName = "ema_tiktok";
  record.userAccountUid = "uid";
  record.userAccount = "account name";
  record.userNickName = "nick \"quoted\" \xC3\xA9";
  record.userFirstName = "first";
  record.userLastName = "last";
  record.userAvatarLocal = "/tmp/avatar";
  record.userAvatarUrl = "http://fake.test/avatar";
  record.videoCategories = "A|B]|";
  record.userUuid = "uuid";
  return record;
}
}  // namespace

TEST_F(CacheDocument, BearsTheSeventeenKeysOfEachRecord) {
  const std::string text = cacheDocument({fullRecord()}, "2024/01/02 03:04:05");
  Json::Value root;
  ASSERT_TRUE(Json::Reader().parse(text, root));
  ASSERT_TRUE(root.isArray());
  const Json::Value& json = root[0];
  EXPECT_EQ(json.size(), 17U);
  EXPECT_EQ(json["third_access_token"].asString(), "third");
  EXPECT_EQ(json["access_token"].asString(), "account");
  EXPECT_EQ(json["refresh_token"].asString(), "refresh");
  EXPECT_EQ(json["access_token_expires_in"].asInt64(), 3600);
  EXPECT_EQ(json["access_token_expires_timeout"].asInt64(), 1'700'000'000'000);
  EXPECT_EQ(json["disk_type"].asInt(), 2);
  EXPECT_EQ(json["disk_name"].asString(), "ema_tiktok");
  EXPECT_EQ(json["user_account_uid"].asString(), "uid");
  EXPECT_EQ(json["user_account"].asString(), "account name");
  EXPECT_EQ(json["user_nick_name"].asString(), "nick \"quoted\" \xC3\xA9");
  EXPECT_EQ(json["user_first_name"].asString(), "first");
  EXPECT_EQ(json["user_last_name"].asString(), "last");
  EXPECT_EQ(json["user_avatar_local"].asString(), "/tmp/avatar");
  EXPECT_EQ(json["user_avatar_url"].asString(), "http://fake.test/avatar");
  EXPECT_EQ(json["video_categories"].asString(), "A|B]|");
  EXPECT_EQ(json["user_uuid"].asString(), "uuid");
  EXPECT_EQ(json["save_date_time"].asString(), "2024/01/02 03:04:05");
}

TEST_F(CacheDocument, IsCompactAndEndsWithALineFeed) {
  const std::string text = cacheDocument({fullRecord()}, "now");
  EXPECT_EQ(text.find('\n'), text.size() - 1);
  EXPECT_EQ(text.substr(0, 2), "[{");
}

TEST_F(CacheDocument, IsWhatTheCompactWriterMakesOfIt) {
  ExternlMediaCacheInfo least;
  least.expiresIn = std::numeric_limits<std::int64_t>::min();
  least.expiresTimeout = std::numeric_limits<std::int64_t>::max();
  least.diskType = std::numeric_limits<std::int32_t>::min();
  least.userNickName = std::string("\0\x1f\x7f\xff\"\\", 6);
  const std::string text = cacheDocument({fullRecord(), least, {}}, "2024/01/02 03:04:05");
  Json::Value root;
  ASSERT_TRUE(Json::Reader().parse(text, root));
  ASSERT_EQ(root.size(), 3U);
  EXPECT_EQ(root[1]["access_token_expires_in"].asInt64(), least.expiresIn);
  EXPECT_EQ(root[1]["access_token_expires_timeout"].asInt64(), least.expiresTimeout);
  EXPECT_EQ(root[1]["disk_type"].asInt(), least.diskType);
  EXPECT_EQ(compactJson(root), text);
}

TEST_F(CacheDocument, OfAnEmptyListIsNull) {
  EXPECT_EQ(cacheDocument({}, "now"), "null\n");
}

TEST_F(CacheDocument, EveryFieldSurvivesSealingAndOpening) {
  const auto list = opened(sealed(padCacheDocument(cacheDocument({fullRecord(), {}}, "now"))));
  ASSERT_TRUE(list.has_value());
  ASSERT_EQ(list->size(), 2U);
  const ExternlMediaCacheInfo& record = *list->front();
  const ExternlMediaCacheInfo expected = fullRecord();
  EXPECT_EQ(record.thirdAccessToken, expected.thirdAccessToken);
  EXPECT_EQ(record.accessToken, expected.accessToken);
  EXPECT_EQ(record.refreshToken, expected.refreshToken);
  EXPECT_EQ(record.expiresIn, expected.expiresIn);
  EXPECT_EQ(record.expiresTimeout, expected.expiresTimeout);
  EXPECT_EQ(record.diskType, expected.diskType);
  EXPECT_EQ(record.diskName, expected.diskName);
  EXPECT_EQ(record.userAccountUid, expected.userAccountUid);
  EXPECT_EQ(record.userAccount, expected.userAccount);
  EXPECT_EQ(record.userNickName, expected.userNickName);
  EXPECT_EQ(record.userFirstName, expected.userFirstName);
  EXPECT_EQ(record.userLastName, expected.userLastName);
  EXPECT_EQ(record.userAvatarLocal, expected.userAvatarLocal);
  EXPECT_EQ(record.userAvatarUrl, expected.userAvatarUrl);
  EXPECT_EQ(record.videoCategories, expected.videoCategories);
  EXPECT_EQ(record.userUuid, expected.userUuid);
}

TEST_F(CacheDocument, ThirtyTwoBytesTakeNoPaddingAndStillLoad) {
  const std::string document = "[{\"user_uuid\":\"0123456789abcd\"}]";
  ASSERT_EQ(document.size(), 32U);
  EXPECT_EQ(padCacheDocument(document), document);
  const std::string text = sealed(document);
  EXPECT_EQ(text.size(), 64U);
  const auto list = opened(text);
  ASSERT_TRUE(list.has_value());
  EXPECT_EQ(list->at(0)->userUuid, "0123456789abcd");
}

TEST_F(CacheDocument, ThirtyThreeBytesTakeFifteenOnes) {
  EXPECT_EQ(padCacheDocument(std::string(33, 'x')), std::string(33, 'x') + std::string(15, '1'));
}

TEST_F(CacheDocument, SeventeenDigitsAreRefusedBeforeDecipherment) {
  EXPECT_FALSE(opened(std::string(17, 'a')).has_value());
}

TEST_F(CacheDocument, AGoodTextWithOneDigitTooManyIsRefused) {
  const std::string good = sealed("[{\"user_uuid\":\"0123456789abcd\"}]");
  ASSERT_TRUE(opened(good).has_value());
  EXPECT_FALSE(opened(good + "a").has_value());
}

TEST_F(CacheDocument, SixteenDigitsAreTriedAndHoldNoDocument) {
  EXPECT_FALSE(opened(std::string(16, 'a')).has_value());
}

TEST_F(CacheDocument, AnEmptyTextHoldsNoDocument) {
  EXPECT_FALSE(opened("").has_value());
}

TEST_F(CacheDocument, DamagedPaddingBehindTheLastBracketIsIgnored) {
  const auto list = opened(sealed(padCacheDocument("[{\"user_uuid\":\"u\"}]garbage {{{ \"\n")));
  ASSERT_TRUE(list.has_value());
  EXPECT_EQ(list->at(0)->userUuid, "u");
}

TEST_F(CacheDocument, AnEmptyArrayIsAnEmptyList) {
  const auto list = opened(sealed(padCacheDocument("[]\n")));
  ASSERT_TRUE(list.has_value());
  EXPECT_TRUE(list->empty());
}

TEST_F(CacheDocument, TheDocumentOfAnEmptyListDoesNotLoad) {
  EXPECT_FALSE(opened(sealed(padCacheDocument(cacheDocument({}, "now")))).has_value());
}

TEST_F(CacheDocument, ARootThatIsNoArrayDoesNotLoad) {
  EXPECT_FALSE(opened(sealed(padCacheDocument("{\"a\":[1]}\n"))).has_value());
}

TEST_F(CacheDocument, MissingAndWronglyTypedMembersReadAsEmptyAndZero) {
  const auto list = opened(sealed(padCacheDocument(
      R"([{"access_token":7,"access_token_expires_in":"x","disk_type":[],"user_uuid":{"a":1}},3,null])")));
  ASSERT_TRUE(list.has_value());
  ASSERT_EQ(list->size(), 3U);
  for (const CacheEntry& record : *list) {
    EXPECT_EQ(record->accessToken, "");
    EXPECT_EQ(record->expiresIn, 0);
    EXPECT_EQ(record->diskType, 0);
    EXPECT_EQ(record->userUuid, "");
  }
}

TEST_F(CacheDocument, ADocumentNestedAThousandDeepDoesNotLoad) {
  EXPECT_FALSE(opened(sealed(padCacheDocument(std::string(5000, '[') + std::string(5000, ']')))).has_value());
}

TEST_F(CacheDocument, ATokenOfAHundredThousandCharactersSurvives) {
  ExternlMediaCacheInfo record = fullRecord();
  record.thirdAccessToken = std::string(100'000, 't');
  const auto list = opened(sealed(padCacheDocument(cacheDocument({record}, "now"))));
  ASSERT_TRUE(list.has_value());
  EXPECT_TRUE(list->at(0)->thirdAccessToken == record.thirdAccessToken);
}

TEST_F(CacheDocument, RandomDigitsNeverBreakTheReader) {
  auto generator = seededGenerator();
  const std::string digits = "0123456789abcdefgG\xFF";
  for (int round = 0; round < 200; ++round) {
    std::string text(16 * (1 + generator() % 20), '0');
    for (char& digit : text) digit = digits[generator() % digits.size()];
    (void)opened(text);
  }
}

TEST_F(CacheDocument, ATextPastTheLimitIsRefused) {
  EXPECT_FALSE(opened(std::string(maxCacheTextSize + 16, '0')).has_value());
}

TEST_F(CacheDocument, ADocumentWhoseDigitsReachTheLimitIsTheLargestThatIsSealed) {
  const auto digits = sealCacheDocument(std::string(maxCacheTextSize / 2, 'x'), CipherKey::current());
  ASSERT_TRUE(digits.has_value());
  EXPECT_EQ(digits->size(), maxCacheTextSize);
  EXPECT_FALSE(
      sealCacheDocument(std::string(maxCacheTextSize / 2 + 16, 'x'), CipherKey::current()).has_value());
}

TEST_F(CacheDocument, AnUnpaddedDocumentIsNotSealed) {
  EXPECT_FALSE(sealCacheDocument(std::string(17, 'x'), CipherKey::current()).has_value());
}
