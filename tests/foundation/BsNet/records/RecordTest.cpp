#include <BsNet/BsInfoReader.h>
#include <BsNet/KnownKeys.h>
#include <BsNet/NetKeys.h>
#include <KblUtils/RefPtr.h>

#include <gtest/gtest.h>

#include <map>
#include <string>

using KBL::BsBaseInfoRW;

namespace {

/// A host's own record, which derives from the interface alone.
class ForeignRecord : public KBL::RefCnt<ForeignRecord>, public virtual KBL::IBsInfoReader {
 public:
  void* QueryInterfaceByName(const char*) override { return nullptr; }
  int infoType() override { return 77; }
  long long intKeyConfig(const char* key) override {
    const auto found = ints.find(key);
    return found == ints.end() ? KBL::absentIntValue : found->second;
  }
  const char* charKeyConfig(const char* key) override {
    const auto found = texts.find(key);
    return found == texts.end() ? nullptr : found->second.c_str();
  }
  KBL::_Result updataFrom(KBL::IBsInfoReader*) override { return KBL::resultFailed; }

  std::map<std::string, long long> ints;
  std::map<std::string, std::string> texts;
};

/// A record that takes no key but "known".
class PickyRecord : public BsBaseInfoRW {
 public:
  int isValidKeyOfIntValue(const char* key) override { return std::string(key) == "known" ? 1 : 0; }
  int isValidKeyOfCharValue(const char* key) override { return std::string(key) == "known" ? 1 : 0; }
  using BsInfoReader::registeredCharKeys;
};

TEST(Record, EmptyRecordAnswersTheAbsentValues) {
  BsBaseInfoRW record;

  EXPECT_EQ(record.intKeyConfig("any"), 9223372036854775807LL);
  EXPECT_EQ(record.charKeyConfig("any"), nullptr);
  EXPECT_EQ(record.infoType(), 0);
}

TEST(Record, KeysAreComparedByTheirText) {
  BsBaseInfoRW record;
  const std::string key = "some_key";
  const std::string sameText = std::string("some_") + "key";
  record.setCharKeyConfig(key.c_str(), "text");
  record.setIntKeyConfig(key.c_str(), -5);

  EXPECT_STREQ(record.charKeyConfig(sameText.c_str()), "text");
  EXPECT_EQ(record.intKeyConfig(sameText.c_str()), -5);
}

TEST(Record, NullKeysAndTextsAreRefusedAndChangeNothing) {
  BsBaseInfoRW record;
  record.setCharKeyConfig("key", "before");

  EXPECT_EQ(record.setCharKeyConfig("key", nullptr), KBL::resultFailed);
  EXPECT_EQ(record.setCharKeyConfig(nullptr, "x"), KBL::resultFailed);
  EXPECT_EQ(record.setIntKeyConfig(nullptr, 1), KBL::resultFailed);
  EXPECT_EQ(record.charKeyConfig(nullptr), nullptr);
  EXPECT_EQ(record.intKeyConfig(nullptr), KBL::absentIntValue);
  EXPECT_STREQ(record.charKeyConfig("key"), "before");
}

TEST(Record, HandedOutTextOutlivesReplacementResetAndCopy) {
  BsBaseInfoRW record;
  BsBaseInfoRW other;
  other.setCharKeyConfig("key", "third");
  record.setCharKeyConfig("key", "first");
  const char* const first = record.charKeyConfig("key");
  record.setCharKeyConfig("key", "second");
  const char* const second = record.charKeyConfig("key");
  record.CopyInfo(&other);
  const char* const third = record.charKeyConfig("key");
  record.reset();

  EXPECT_STREQ(first, "first");
  EXPECT_STREQ(second, "second");
  EXPECT_STREQ(third, "third");
}

TEST(Record, EqualTextsAreHandedOutOnce) {
  BsBaseInfoRW record;
  record.setCharKeyConfig("status", "pending");
  const char* const pending = record.charKeyConfig("status");
  record.setCharKeyConfig("status", "ready");
  record.setCharKeyConfig("status", "pending");
  record.setCharKeyConfig("other", "pending");

  EXPECT_EQ(record.charKeyConfig("status"), pending);
  EXPECT_EQ(record.charKeyConfig("other"), pending);
}

TEST(Record, TextOfTheRecordItselfCanBeSet) {
  BsBaseInfoRW record;
  record.setCharKeyConfig("key", "a text that is longer than a small buffer holds");

  record.setCharKeyConfig("key", record.charKeyConfig("key") + 2);

  EXPECT_STREQ(record.charKeyConfig("key"), "text that is longer than a small buffer holds");
}

TEST(Record, UpdataFromAddsAndReplacesAndKeepsTheRest) {
  BsBaseInfoRW record;
  record.setCharKeyConfig("kept", "mine");
  record.setCharKeyConfig("both", "mine");
  record.setIntKeyConfig("number", 1);
  BsBaseInfoRW other(9);
  other.setCharKeyConfig("both", "theirs");
  other.setCharKeyConfig("new", "theirs");
  other.setIntKeyConfig("number", 2);

  EXPECT_EQ(record.updataFrom(&other), KBL::resultOk);

  EXPECT_STREQ(record.charKeyConfig("kept"), "mine");
  EXPECT_STREQ(record.charKeyConfig("both"), "theirs");
  EXPECT_STREQ(record.charKeyConfig("new"), "theirs");
  EXPECT_EQ(record.intKeyConfig("number"), 2);
  EXPECT_EQ(record.infoType(), 0);
}

TEST(Record, CopyInfoReplacesTheWholeContents) {
  BsBaseInfoRW record;
  record.setCharKeyConfig("old", "x");
  record.setIntKeyConfig("old", 1);
  BsBaseInfoRW other;
  other.setCharKeyConfig("new", "y");

  EXPECT_EQ(record.CopyInfo(&other), KBL::resultOk);

  EXPECT_EQ(record.charKeyConfig("old"), nullptr);
  EXPECT_EQ(record.intKeyConfig("old"), KBL::absentIntValue);
  EXPECT_STREQ(record.charKeyConfig("new"), "y");
}

TEST(Record, NullAndItselfAreSoundSources) {
  BsBaseInfoRW record;
  record.setCharKeyConfig("key", "text");

  EXPECT_EQ(record.updataFrom(nullptr), KBL::resultFailed);
  EXPECT_EQ(record.CopyInfo(nullptr), KBL::resultFailed);
  EXPECT_EQ(record.updataFrom(&record), KBL::resultOk);
  EXPECT_EQ(record.CopyInfo(&record), KBL::resultOk);
  EXPECT_STREQ(record.charKeyConfig("key"), "text");
}

TEST(Record, CopyingFromARecordHandsNothingOut) {
  BsBaseInfoRW source;
  source.setCharKeyConfig("key", "first");
  BsBaseInfoRW copy;
  copy.updataFrom(&source);
  const char* const copied = copy.charKeyConfig("key");

  source.setCharKeyConfig("key", "second");

  EXPECT_STREQ(copied, "first");
  EXPECT_STREQ(copy.charKeyConfig("key"), "first");
}

TEST(Record, ForeignRecordIsCopiedByTheKnownNames) {
  const auto foreign = KBL::makeRef<ForeignRecord>();
  foreign->texts = {
      {KBL::PubCharKey::lang, "de"}, {"registered_here", "r"}, {"nobody_knows", "n"}, {"of_a_library", "l"}};
  foreign->ints = {{KBL::ServerProxyIntKey::port, 8080}, {"int_of_a_library", 3}, {"nobody_knows", 4}};
  KBL::registerKnownCharKeys({"of_a_library"});
  KBL::registerKnownIntKeys({"int_of_a_library"});
  class Registering : public BsBaseInfoRW {
   public:
    Registering() { registeredCharKeys.emplace_back("registered_here"); }
  } record;

  EXPECT_EQ(record.updataFrom(foreign.get()), KBL::resultOk);

  EXPECT_STREQ(record.charKeyConfig(KBL::PubCharKey::lang), "de");
  EXPECT_STREQ(record.charKeyConfig("registered_here"), "r");
  EXPECT_STREQ(record.charKeyConfig("of_a_library"), "l");
  EXPECT_EQ(record.charKeyConfig("nobody_knows"), nullptr);
  EXPECT_EQ(record.intKeyConfig(KBL::ServerProxyIntKey::port), 8080);
  EXPECT_EQ(record.intKeyConfig("int_of_a_library"), 3);
  EXPECT_EQ(record.intKeyConfig("nobody_knows"), KBL::absentIntValue);
}

TEST(Record, KeysThatARecordRefusesAreNeitherSetNorCopied) {
  PickyRecord record;
  BsBaseInfoRW other;
  other.setCharKeyConfig("known", "a");
  other.setCharKeyConfig("unknown", "b");
  other.setIntKeyConfig("unknown", 1);

  EXPECT_EQ(record.setCharKeyConfig("unknown", "x"), KBL::resultFailed);
  EXPECT_EQ(record.setIntKeyConfig("unknown", 1), KBL::resultFailed);
  record.updataFrom(&other);

  EXPECT_STREQ(record.charKeyConfig("known"), "a");
  EXPECT_EQ(record.charKeyConfig("unknown"), nullptr);
  EXPECT_EQ(record.charKeyConfigNoCheckKey("unknown"), nullptr);
  EXPECT_EQ(record.intKeyConfig("unknown"), KBL::absentIntValue);
}

TEST(Record, CastsToItsClassByNameAndAtRunTime) {
  const auto record = KBL::makeRef<BsBaseInfoRW>();
  KBL::IBsInfoReader* const reader = record.get();

  EXPECT_EQ(reader->QueryInterfaceByName("BsBaseInfoRW"), record.get());
  EXPECT_EQ(reader->QueryInterfaceByName("IBsBaseInfoRW"), nullptr);
  EXPECT_EQ(dynamic_cast<BsBaseInfoRW*>(reader), record.get());
  EXPECT_EQ(dynamic_cast<KBL::IBsBaseInfoRW*>(reader), static_cast<KBL::IBsBaseInfoRW*>(record.get()));
}

}  // namespace
