// What a script tells about its user, and what of it stands in the host's record when.
#include "scripting/HostAccount.h"
#include "scripting/ScriptedObject.h"
#include "support/FakeManager.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

using namespace KBL;
using testing::IsEmpty;

namespace {

constexpr const char* accountAnswers =
    "'GetAccessToken': 'token', 'GetAppKey': 'key', 'GetAppSecret': 'secret', 'GetVideoCategories': "
    "'[{\"id\": 1}, {\"id\": 2}]', 'GetVideoHD': 1, 'GetVideoSD': 2, 'GetLimitSpace': 3, 'GetUserName': "
    "'Zoë'";

TEST(ScriptedUser, FillsTheRecord) {
  ScriptedObject object(recorderAnswering(accountAnswers));
  Account account;
  EXPECT_EQ(object->GetUserInfo(account.record()), 0);
  EXPECT_STREQ(account.record()->accessToken, "token");
  EXPECT_STREQ(account.record()->appKey, "key");
  EXPECT_STREQ(account.record()->appSecret, "secret");
  EXPECT_STREQ(account.categories(), "[{\"id\": 1}, {\"id\": 2}]");
  EXPECT_EQ(account.record()->videoHd, 1);
  EXPECT_EQ(account.record()->videoSd, 2);
  EXPECT_EQ(account.record()->limitSpace, 3);
  EXPECT_STREQ(account.record()->userName, "Zoë");
  EXPECT_EQ(
      ScriptedObject::calls(),
      "[('GetAccessToken',), ('GetAppKey',), ('GetAppSecret',), ('GetVideoCategories',), ('GetVideoHD',), "
      "('GetVideoSD',), ('GetLimitSpace',), ('GetUserName',)]");
}

TEST(ScriptedUser, WithoutALoginLeavesTheRecord) {
  ScriptedObject object(recorderAnswering("'GetAccessToken': 'error'"));
  Account account;
  const std::vector<char> before = account.room;
  EXPECT_EQ(object->GetUserInfo(account.record()), 1);
  EXPECT_EQ(account.room, before);
  EXPECT_EQ(ScriptedObject::calls(), "[('GetAccessToken',)]");
}

TEST(ScriptedUser, OnlyTheExactWordMeansThatThereIsNoLogin) {
  for (const char* const token : {"Error", "ERROR", "error "}) {
    EXPECT_EXIT(
        {
          ScriptedObject object(
              recorderAnswering(std::string(accountAnswers) + ", 'GetAccessToken': '" + token + "'"));
          Account account;
          const bool good = object->GetUserInfo(account.record()) == 0 &&
                            account.record()->accessToken == std::string(token);
          std::quick_exit(good ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
  }
}

TEST(ScriptedUser, ATokenThatFailsReadsAsAnEmptyOne) {
  ScriptedObject object(recorderAnswering(std::string(accountAnswers) + ", 'GetAccessToken': fail"));
  Account account;
  EXPECT_EQ(object->GetUserInfo(account.record()), 0);
  EXPECT_STREQ(account.record()->accessToken, "");
}

TEST(ScriptedUser, TextsAreCutToTheirFields) {
  ScriptedObject object(recorderAnswering(
      "'GetAccessToken': 't' * 9000, 'GetAppKey': 'k' * 9000, 'GetAppSecret': 's' * 126 + 'ü', "
      "'GetVideoCategories': 'c', 'GetUserName': 'n' * 9000"));
  Account account;
  EXPECT_EQ(object->GetUserInfo(account.record()), 0);
  EXPECT_EQ(account.record()->accessToken, std::string(4095, 't'));
  EXPECT_EQ(account.record()->appKey, std::string(127, 'k'));
  EXPECT_EQ(account.record()->appSecret, std::string(126, 's'));
  EXPECT_EQ(account.record()->userName, std::string(99, 'n'));
  EXPECT_STREQ(account.categories(), "c");
}

TEST(ScriptedUser, OfVimeoNeverMakesAProxy) {
  const InstalledManager manager(ema_vimeo);
  ScriptedObject object(recorderAnswering(accountAnswers), 2);
  Account account;
  EXPECT_EQ(object->GetUserInfo(account.record()), 0);
  EXPECT_THAT(manager->userInfos, IsEmpty());
}

/// A script whose methods note, as they are called, what stands in the record at `address`: how many of the
/// numbers, and whether the token and the categories do.
std::string lookingScript() {
  const auto offset = [](std::size_t place) { return std::to_string(place); };
  return scriptWith(R"(
    def looked(self, name, answer):
        at = lambda place, size: ctypes.string_at(sys.record + place, size)
        numbers = [int.from_bytes(at(place, 4), "little", signed=True) for place in NUMBERS]
        calls.append((name, numbers, at(TOKEN, 5) == b"token", at(CATEGORIES, 4) == b"Film"))
        return answer

    def GetAccessToken(self):
        return self.looked("token", "token")

    def GetAppKey(self):
        return "key"

    def GetAppSecret(self):
        return "secret"

    def GetVideoCategories(self):
        return self.looked("categories", "Film|")

    def GetVideoHD(self):
        return self.looked("hd", 1)

    def GetVideoSD(self):
        return self.looked("sd", 2)

    def GetLimitSpace(self):
        return self.looked("space", 3)

    def GetUserName(self):
        return self.looked("name", "Zoe")
)") + "import sys\nNUMBERS = (" +
         offset(offsetof(hostAccountRecord, videoHd)) + ", " + offset(offsetof(hostAccountRecord, videoSd)) +
         ", " + offset(offsetof(hostAccountRecord, limitSpace)) +
         ")\nTOKEN = " + offset(offsetof(hostAccountRecord, accessToken)) +
         "\nCATEGORIES = " + offset(offsetof(hostAccountRecord, videoCategories)) + "\n";
}

TEST(ScriptedUser, IsWrittenAsItArrivesNumbersFirst) {
  ScriptedObject object(lookingScript());
  Account account;
  const auto address = reinterpret_cast<std::uintptr_t>(account.record());
  ASSERT_TRUE(runPython("import sys\nsys.record = " + std::to_string(address)));
  account.record()->videoHd = account.record()->videoSd = account.record()->limitSpace = 0;
  EXPECT_EQ(object->GetUserInfo(account.record()), 0);
  EXPECT_EQ(ScriptedObject::calls(),
            "[('token', [0, 0, 0], False, False), ('categories', [0, 0, 0], False, False), "
            "('hd', [0, 0, 0], False, False), ('sd', [1, 0, 0], False, False), "
            "('space', [1, 2, 0], False, False), ('name', [1, 2, 3], True, True)]");
  EXPECT_STREQ(account.record()->userName, "Zoe");
}
}  // namespace
