#include "boundary/records/Records.h"
#include <ExternlMediaTransfer/ExternlMediaKeys.h>

#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <vector>

using namespace KBL;

namespace {

struct RecordRow {
  int type;
  const char* interfaceName;
};

constexpr RecordRow recordTable[] = {
    {400, "IBsExternlMediaLoginInfo"},
    {401, "IBsExternlMediaLoginInfo"},
    {402, "IBsExternlMediaVerifyAccessTokenInfo"},
    {403, "IBsExternlMediaAuthUserInfo"},
    {404, "IBsExternlMediaLoginInfo"},
    {405, "IBsExternlMediaLoginInfo"},
    {406, "IBsExternlMediaUploadInfo"},
};

constexpr const char* allNames[] = {"IBsExternlMediaLoginInfo",
                                    "IBsExternlMediaVerifyAccessTokenInfo",
                                    "IBsExternlMediaAuthUserInfo",
                                    "IBsExternlMediaUploadInfo",
                                    "BsBaseInfoRW",
                                    "IBsInfoReader",
                                    "IBsBaseInfoRW",
                                    "IDmBaseObj",
                                    ""};

class EveryRecord : public testing::TestWithParam<RecordRow> {
 protected:
  void SetUp() override {
    record = adoptRef(createRecord(GetParam().type));
    ASSERT_NE(record.get(), nullptr);
  }

  BsBaseInfoRW* writable() {
    return static_cast<BsBaseInfoRW*>(record->QueryInterfaceByName("BsBaseInfoRW"));
  }

  RefPtr<IBsInfoReader> record;
};

void PrintTo(const RecordRow& row, std::ostream* out) {
  *out << row.type;
}

std::string nameOfRow(const testing::TestParamInfo<RecordRow>& info) {
  return "Type" + std::to_string(info.param.type);
}

}  // namespace

INSTANTIATE_TEST_SUITE_P(Records, EveryRecord, testing::ValuesIn(recordTable), nameOfRow);

TEST_P(EveryRecord, KnowsItsTypeNumber) {
  EXPECT_EQ(record->infoType(), GetParam().type);
}

TEST_P(EveryRecord, ComesWithOneReference) {
  EXPECT_EQ(record->AddRef(), 2);
  EXPECT_EQ(record->Release(), 1);
}

TEST_P(EveryRecord, AnswersItsOwnNameAndTheWritableSideOnly) {
  for (const std::string name : allNames) {
    const bool answered = record->QueryInterfaceByName(name.c_str()) != nullptr;
    EXPECT_EQ(answered, name == GetParam().interfaceName || name == "BsBaseInfoRW") << name;
  }
  EXPECT_EQ(record->QueryInterfaceByName(nullptr), nullptr);
}

TEST_P(EveryRecord, IsEmptyAtFirst) {
  EXPECT_EQ(record->intKeyConfig(ExternlMediaMixedIntKey::expiresIn), 9223372036854775807LL);
  EXPECT_EQ(record->charKeyConfig(ExternlMediaMixedCharKey::accessToken), nullptr);
}

TEST_P(EveryRecord, TakesAKeyThatNoTableLists) {
  writable()->setCharKeyConfig("somebody_elses_text", "value");
  writable()->setIntKeyConfig("somebody_elses_number", -5);

  EXPECT_STREQ(record->charKeyConfig("somebody_elses_text"), "value");
  EXPECT_EQ(record->intKeyConfig("somebody_elses_number"), -5);
}

TEST_P(EveryRecord, RejectsNoKey) {
  EXPECT_EQ(writable()->isValidKeyOfCharValue("anything"), 1);
  EXPECT_EQ(writable()->isValidKeyOfIntValue(""), 1);
}

TEST_P(EveryRecord, UpdataFromAddsAndReplaces) {
  BsBaseInfoRW other;
  other.setCharKeyConfig("replaced", "new");
  other.setIntKeyConfig("added", 7);
  writable()->setCharKeyConfig("replaced", "old");
  writable()->setCharKeyConfig("kept", "kept");

  EXPECT_EQ(record->updataFrom(&other), resultOk);

  EXPECT_STREQ(record->charKeyConfig("replaced"), "new");
  EXPECT_STREQ(record->charKeyConfig("kept"), "kept");
  EXPECT_EQ(record->intKeyConfig("added"), 7);
}

TEST_P(EveryRecord, ResetEmptiesIt) {
  writable()->setCharKeyConfig(ExternlMediaMixedCharKey::code, "x");
  writable()->setIntKeyConfig(ExternlMediaMixedIntKey::status, 1);

  EXPECT_EQ(writable()->reset(), resultOk);

  EXPECT_EQ(record->charKeyConfig(ExternlMediaMixedCharKey::code), nullptr);
  EXPECT_EQ(record->intKeyConfig(ExternlMediaMixedIntKey::status), absentIntValue);
}

TEST_P(EveryRecord, IsBothParametersAndReply) {
  EXPECT_NE(dynamic_cast<IBsRequestParamReply*>(record.get()), nullptr);
}

TEST(Records, NoTypeOutsideTheTableIsMade) {
  for (const int type : {399, 407, 0, -1, 1}) EXPECT_EQ(createRecord(type), nullptr) << type;
}

TEST(Records, TheConsumeRecordAnswersTheLoginNameWithItsReader) {
  const auto record = makeRef<BsExternlMediaAuthUseSupportQueryConsumeInfo>();

  void* const answer = record->QueryInterfaceByName("IBsExternlMediaLoginInfo");

  EXPECT_EQ(answer, static_cast<void*>(static_cast<IBsInfoReader*>(record.get())));
  EXPECT_EQ(record->QueryInterfaceByName("IBsExternlMediaAuthUserInfo"), nullptr);
}

TEST(Records, TheUserRecordRegistersSixKeysInOrderWithoutTheCategories) {
  const auto record = makeRef<BsExternlMediaAuthUserInfo>();

  const std::vector<std::string> expected = {
      ExternlMediaAuthUserCharKey::userSessionId, ExternlMediaAuthUserCharKey::userFirstName,
      ExternlMediaAuthUserCharKey::userLastName,  ExternlMediaAuthUserCharKey::userNickName,
      ExternlMediaAuthUserCharKey::userAccount,   ExternlMediaAuthUserCharKey::thirdAccessToken};
  EXPECT_EQ(record->registeredKeys(), expected);
}

TEST(Records, CategoriesAreKeptThoughTheyAreNotRegistered) {
  const auto record = makeRef<BsExternlMediaAuthUserInfo>();
  record->setCharKeyConfig(ExternlMediaAuthUserCharKey::videoCategories, "A|B|");
  EXPECT_STREQ(record->charKeyConfig(ExternlMediaAuthUserCharKey::videoCategories), "A|B|");
}

TEST(Records, ARecordBuiltByItsConstructorKnowsItsType) {
  EXPECT_EQ(makeRef<BsExternlMediaAuthLoginInfo>()->infoType(), 400);
  EXPECT_EQ(makeRef<BsExternlMediaAuthMixedInfo>()->infoType(), 405);
  EXPECT_EQ(makeRef<BsExternlMediaUploadInfo>()->infoType(), 406);
}

namespace {
/// A host's own record, which cannot be listed: answers every key with the key itself, and every integer
/// with 7.
class HostsOwnRecord final : public RefCnt<HostsOwnRecord>, public virtual IBsInfoReader {
 public:
  void* QueryInterfaceByName(const char*) override { return nullptr; }
  int infoType() override { return infoTypeLogin; }
  long long intKeyConfig(const char*) override { return 7; }
  const char* charKeyConfig(const char* key) override { return key; }
  _Result updataFrom(IBsInfoReader*) override { return resultFailed; }
};
}  // namespace

TEST(RecordKeys, AHostsOwnRecordIsCopiedWithEveryKeyOfTheTables) {
  registerRecordKeys();
  const auto hosts = makeRef<HostsOwnRecord>();
  const auto record = makeRef<BsExternlMediaAuthLoginInfo>();
  record->updataFrom(hosts.get());
  for (const char* const key :
       {ExternlMediaLoginCharKey::platformId, ExternlMediaLoginCharKey::timeout_seconds,
        ExternlMediaLoginCharKey::scope, ExternlUserConsumeCharKey::action_type,
        ExternlMediaUploadCharKey::filePath, ExternlMediaMixedCharKey::refreshToken}) {
    EXPECT_STREQ(record->charKeyConfig(key), key);
  }
  EXPECT_EQ(record->intKeyConfig(ExternlMediaMixedIntKey::expiresIn), 7);
}
