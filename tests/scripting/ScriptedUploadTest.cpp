// Upload objects and transfers whose platform a script serves.
#include "scripting/AuthNUploadObj.h"
#include "scripting/HostAccount.h"
#include "scripting/PythonRunTime.h"
#include "scripting/ScriptHome.h"
#include "support/RecordingLogger.h"
#include "uploaders/FakeManager.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <vector>

using namespace KBL;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

/// An upload object on a script, the calls that made it forgotten.
class ScriptedObject {
 public:
  explicit ScriptedObject(const std::string& script, std::uint32_t platform = 0) : home_(loadedHome(script)) {
    EXPECT_EQ(object_.SetPlatform(platform), 0);
    (void)runPython("import sys\nsys.modules['pythonrt'].calls.clear()");
  }
  ~ScriptedObject() { CPythonRunTime::teardown(); }

  CAuthNUploadObj* operator->() { return &object_; }
  [[nodiscard]] static std::string calls() { return pythonValue("rt.calls"); }

 private:
  std::unique_ptr<ScriptHome> home_;
  CAuthNUploadObj object_;
};

TEST(ScriptedObjects, EveryPlatformOfTheScriptHasOne) {
  const auto home = loadedHome(recorderWith());
  for (const std::uint32_t platform : {0U, 1U, 2U, 3U, 4U, 5U}) {
    CAuthNUploadObj object;
    EXPECT_EQ(object.SetPlatform(platform), 0) << platform;
    EXPECT_EQ(object.SetAppBrand(0), 0) << platform;
  }
  for (const std::uint32_t platform : {6U, 7U}) {
    CAuthNUploadObj object;
    EXPECT_EQ(object.SetPlatform(platform), 0) << platform;
    EXPECT_EQ(object.SetAppBrand(0), 3) << platform;
  }
  for (const std::uint32_t platform : {8U, 99U, 4294967295U}) {
    CAuthNUploadObj object;
    EXPECT_EQ(object.SetPlatform(platform), 3) << platform;
  }
  EXPECT_EQ(pythonValue("[c for c in rt.calls if isinstance(c, str)]"),
            "['facebook', 'youtube', 'vimeo', 'flickr', 'instagram', 'twitch']");
  CPythonRunTime::teardown();
}

TEST(ScriptedObjects, GetTheCallbackAndAUserObjectOfTheirOwn) {
  const auto home = loadedHome(std::string(scriptBase) +
                               "class Tested(Uploader):\n"
                               "    def SetUserObj(self, user): calls.append(user)\n"
                               "def CreateAuInstance(name): return Tested()\n");
  CAuthNUploadObj first;
  CAuthNUploadObj second;
  EXPECT_EQ(first.SetPlatform(0), 0);
  EXPECT_EQ(second.SetPlatform(0), 0);
  EXPECT_EQ(pythonValue("len(set(rt.calls))"), "2");
  CPythonRunTime::teardown();
}

// --- The operations

TEST(ScriptedOperations, TheBrandIsTranslated) {
  ScriptedObject object(recorderWith());
  EXPECT_EQ(object->SetAppBrand(0), 0);
  EXPECT_EQ(object->SetAppBrand(1), 0);
  for (const int brand : {-1, 2, 7, 2147483647}) EXPECT_EQ(object->SetAppBrand(brand), 5);
  EXPECT_EQ(ScriptedObject::calls(), "[('SetBrand', 'lumenfold'), ('SetBrand', 'orbitfern')]");
}

TEST(ScriptedOperations, TheAppIsSetInThreeCalls) {
  ScriptedObject object(recorderAnswering("'SetAppKey': fail"));
  EXPECT_EQ(object->SetAppIdAndSecret("id", "secret", "https://back"), 0);
  EXPECT_EQ(object->SetAppIdAndSecret("id", "secret", nullptr), 0);
  EXPECT_EQ(object->SetAppIdAndSecret(nullptr, "secret", "https://back"), 2);
  EXPECT_EQ(object->SetAppIdAndSecret("id", nullptr, "https://back"), 2);
  EXPECT_EQ(ScriptedObject::calls(),
            "[('SetAppKey', 'id'), ('SetAppSecret', 'secret'), ('SetRedirectURL', 'https://back'), "
            "('SetAppKey', 'id'), ('SetAppSecret', 'secret'), ('SetRedirectURL', None)]");
}

TEST(ScriptedOperations, TheLoginUrlIsCopiedAndLogged) {
  ScriptedObject object(recorderAnswering("'GetLoginURL': 'https://login'"));
  const ScopedRecordingLogger log;
  std::vector<char> url(CAuthNUploadObj::loginUrlRoom);
  EXPECT_EQ(object->GetLoginURL(url.data()), 0);
  EXPECT_STREQ(url.data(), "https://login");
  const auto lines = log->linesWith("[AuthNUpload]");
  ASSERT_THAT(lines, SizeIs(1));
  EXPECT_EQ(lines[0].text, "[AuthNUpload] LoginURL:https://login");
  EXPECT_EQ(lines[0].severity, 4);
  EXPECT_EQ(object->GetLoginURL(nullptr), 2);
}

TEST(ScriptedOperations, AnEmptyLoginUrlIsNoResult) {
  ScriptedObject object(recorderAnswering("'GetLoginURL': ''"));
  char url[CAuthNUploadObj::loginUrlRoom] = "before";
  EXPECT_EQ(object->GetLoginURL(url), 2);
  EXPECT_STREQ(url, "");
}

TEST(ScriptedOperations, TextsAreCutToTheRoomThatHostsGive) {
  ScriptedObject object(
      recorderAnswering("'GetLoginURL': 'u' * 8190 + 'ü', 'VerifyRedirectURL': 2, 'SetAccessToken': 0, "
                        "'GetLastError': 'e' * 5000"));
  std::vector<char> url(CAuthNUploadObj::loginUrlRoom + 1, '#');
  EXPECT_EQ(object->GetLoginURL(url.data()), 0);
  EXPECT_EQ(std::string(url.data()), std::string(8190, 'u'));
  EXPECT_EQ(url.back(), '#');
  std::vector<char> error(CAuthNUploadObj::errorTextRoom + 1, '#');
  EXPECT_EQ(object->VerifyRedirectURL("u", error.data()), 1);
  EXPECT_EQ(std::strlen(error.data()), 1023U);
  EXPECT_EQ(error.back(), '#');
  EXPECT_EQ(object->SetAccessToken("t", error.data()), 1);
  EXPECT_EQ(std::strlen(error.data()), 1023U);
  EXPECT_EQ(error.back(), '#');
}

struct VerifyCase {
  const char* answer;
  int number;
  int result;
  const char* error;
};

class ScriptedVerify : public testing::TestWithParam<VerifyCase> {};

TEST_P(ScriptedVerify, MapsTheScriptsNumber) {
  const VerifyCase& test = GetParam();
  ScriptedObject object(
      recorderAnswering(std::string("'VerifyRedirectURL': ") + test.answer + ", 'GetLastError': 'why'"));
  const ScopedRecordingLogger log;
  char error[CAuthNUploadObj::errorTextRoom] = "before";
  EXPECT_EQ(object->VerifyRedirectURL("https://back?code=1", error), test.result);
  EXPECT_STREQ(error, test.error);
  const auto lines = log->linesWith("[AuthNUpload]");
  ASSERT_THAT(lines, SizeIs(2));
  EXPECT_EQ(lines[0].text, "[AuthNUpload] VerifyRedirectURL:https://back?code=1");
  EXPECT_EQ(lines[1].text, "[AuthNUpload] Verify result:" + std::to_string(test.number));
  EXPECT_EQ(lines[0].severity, 4);
  EXPECT_EQ(lines[1].severity, 4);
}

INSTANTIATE_TEST_SUITE_P(Numbers, ScriptedVerify,
                         testing::Values(VerifyCase{"0", 0, 0, "before"}, VerifyCase{"1", 1, 2, "before"},
                                         VerifyCase{"2", 2, 1, "why"}, VerifyCase{"3", 3, 0, "before"},
                                         VerifyCase{"-1", -1, 0, "before"},
                                         VerifyCase{"fail", 0, 0, "before"},
                                         VerifyCase{"'text'", -1, 0, "before"}),
                         [](const auto& test) { return "Number" + std::to_string(test.index); });

struct TokenCase {
  const char* answer;
  int result;
};

class ScriptedToken : public testing::TestWithParam<TokenCase> {};

TEST_P(ScriptedToken, IsRefusedBy0AloneAndAlwaysCopiesTheError) {
  ScriptedObject object(recorderAnswering(std::string("'SetAccessToken': ") + GetParam().answer +
                                          ", 'GetLastError': 'last error'"));
  const ScopedRecordingLogger log;
  char error[CAuthNUploadObj::errorTextRoom] = "before";
  EXPECT_EQ(object->SetAccessToken("token", error), GetParam().result);
  EXPECT_STREQ(error, "last error");
  const auto lines = log->linesWith("[AuthNUpload]");
  ASSERT_THAT(lines, SizeIs(GetParam().result == 1 ? 1 : 0));
  for (const auto& line : lines) {
    EXPECT_EQ(line.text, "[AuthNUpload] AccessToken error:last error");
    EXPECT_EQ(line.severity, 4);
  }
  EXPECT_EQ(ScriptedObject::calls(), "[('SetAccessToken', 'token'), ('GetLastError',)]");
}

INSTANTIATE_TEST_SUITE_P(Numbers, ScriptedToken,
                         testing::Values(TokenCase{"0", 1}, TokenCase{"1", 0}, TokenCase{"-1", 0},
                                         TokenCase{"fail", 0}, TokenCase{"None", 0}),
                         [](const auto& test) { return "Number" + std::to_string(test.index); });

TEST(ScriptedOperations, NullArgumentsAreRefused) {
  ScriptedObject object(recorderWith());
  char error[CAuthNUploadObj::errorTextRoom] = "before";
  EXPECT_EQ(object->VerifyRedirectURL(nullptr, error), 2);
  EXPECT_EQ(object->VerifyRedirectURL("u", nullptr), 2);
  EXPECT_EQ(object->SetAccessToken(nullptr, error), 2);
  EXPECT_EQ(object->SetAccessToken("t", nullptr), 2);
  EXPECT_EQ(object->GetUserInfo(nullptr), 2);
  EXPECT_EQ(object->StartUpload(nullptr), 2);
  EXPECT_EQ(object->PushMessage(nullptr), 2);
  EXPECT_STREQ(error, "before");
  EXPECT_EQ(ScriptedObject::calls(), "[]");
}

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

TEST(ScriptedOperations, UploadStopLogoutAndShareReachTheScript) {
  ScriptedObject object(recorderWith());
  hostTransferRecord record{};
  std::strcpy(record.filePath, "/video");
  hostShareRecord share{};
  std::strcpy(share.first, "first");
  std::memset(share.second, 's', sizeof(share.second));
  EXPECT_EQ(object->StartUpload(&record), 0);
  EXPECT_EQ(object->StopUpload(), 0);
  EXPECT_EQ(object->Logout(), 0);
  EXPECT_EQ(object->PushMessage(&share), 0);
  EXPECT_EQ(ScriptedObject::calls(),
            "[('StartUpload', '/video', '', '', '', '', ''), ('StopUpload',), ('Logout',), "
            "('ShareLink', 'first', '" +
                std::string(1024, 's') + "', '')]");
}

TEST(ScriptedOperations, OfAScriptThatRaisesInEveryMethodKeepTheirResults) {
  ScriptedObject object(std::string(scriptBase) +
                        "class Tested(Uploader):\n"
                        "    def __getattr__(self, name):\n"
                        "        def method(*arguments): fail()\n"
                        "        return method\n"
                        "def CreateAuInstance(name): return Tested()\n");
  char text[CAuthNUploadObj::loginUrlRoom] = "before";
  hostTransferRecord record{};
  hostShareRecord share{};
  Account account;
  EXPECT_EQ(object->SetAppBrand(0), 0);
  EXPECT_EQ(object->SetAppIdAndSecret("i", "s", "r"), 0);
  EXPECT_EQ(object->GetLoginURL(text), 2);
  EXPECT_EQ(object->VerifyRedirectURL("u", text), 0);
  EXPECT_EQ(object->SetAccessToken("t", text), 0);
  EXPECT_EQ(object->GetUserInfo(account.record()), 0);
  EXPECT_EQ(account.record()->videoHd, -1);
  EXPECT_EQ(object->StartUpload(&record), 0);
  EXPECT_EQ(object->StopUpload(), 0);
  EXPECT_EQ(object->Logout(), 0);
  EXPECT_EQ(object->PushMessage(&share), 0);
}

TEST(ScriptedOperations, OfAFactoryThatGivesNothingUsableKeepTheirResults) {
  ScriptedObject object(std::string(scriptBase) + "def CreateAuInstance(name): return 42\n");
  char text[CAuthNUploadObj::loginUrlRoom] = "before";
  EXPECT_EQ(object->SetAppBrand(0), 0);
  EXPECT_EQ(object->GetLoginURL(text), 2);
  EXPECT_EQ(object->StopUpload(), 0);
}

// --- Script or native

TEST(ScriptedYoutube, RunsOnTheScriptWithoutAManager) {
  ScriptedObject object(recorderAnswering("'GetLoginURL': 'https://login', 'SetAccessToken': 1"), 1);
  char text[CAuthNUploadObj::loginUrlRoom] = "";
  hostTransferRecord record{};
  hostShareRecord share{};
  EXPECT_EQ(object->SetAppBrand(7), 5);
  EXPECT_EQ(object->GetLoginURL(text), 0);
  EXPECT_EQ(object->SetAccessToken("t", text), 0);
  EXPECT_EQ(object->StartUpload(&record), 0);
  EXPECT_EQ(object->StopUpload(), 0);
  EXPECT_EQ(object->Logout(), 0);
  EXPECT_EQ(object->PushMessage(&share), 0);
  EXPECT_EQ(pythonValue("[call[0] for call in rt.calls]"),
            "['GetLoginURL', 'SetAccessToken', 'GetLastError', 'StartUpload', 'StopUpload', 'Logout', "
            "'ShareLink']");
}

TEST(ScriptedYoutube, WithAManagerNothingReachesTheScript) {
  const InstalledManager manager(ema_youtube);
  ScriptedObject object(recorderWith(), 1);
  char text[CAuthNUploadObj::loginUrlRoom] = "before";
  hostTransferRecord record{};
  EXPECT_EQ(object->SetAppBrand(7), 0);
  EXPECT_EQ(object->SetAppIdAndSecret("i", "s", "r"), 0);
  EXPECT_EQ(object->GetLoginURL(text), 0);
  EXPECT_EQ(object->VerifyRedirectURL(nullptr, nullptr), 0);
  EXPECT_EQ(object->SetAccessToken(nullptr, nullptr), 0);
  EXPECT_EQ(object->PushMessage(nullptr), 0);
  EXPECT_EQ(object->StartUpload(&record), 0);
  EXPECT_EQ(object->StopUpload(), 0);
  EXPECT_EQ(object->Logout(), 0);
  EXPECT_THAT(manager->uploads, SizeIs(1));
  EXPECT_STREQ(text, "before");
  EXPECT_EQ(ScriptedObject::calls(), "[]");
}

TEST(ScriptedYoutube, AManagerThatComesLaterTakesOver) {
  ScriptedObject object(recorderWith(), 1);
  hostTransferRecord record{};
  EXPECT_EQ(object->StartUpload(&record), 0);
  EXPECT_EQ(ScriptedObject::calls(), "[('StartUpload', '', '', '', '', '', '')]");
  const InstalledManager manager(ema_youtube);
  EXPECT_EQ(object->StopUpload(), 0);
  EXPECT_EQ(ScriptedObject::calls(), "[('StartUpload', '', '', '', '', '', ''), ('StopUpload',)]");
  EXPECT_EQ(object->StartUpload(&record), 0);
  EXPECT_THAT(manager->uploads, SizeIs(1));
}

TEST(ScriptedObjects, TheirEndCallsNothing) {
  const auto home = loadedHome(recorderWith());
  {
    CAuthNUploadObj object;
    EXPECT_EQ(object.SetPlatform(0), 0);
    (void)runPython("import sys\nsys.modules['pythonrt'].calls.clear()");
  }
  EXPECT_EQ(pythonValue("rt.calls"), "[]");
  CPythonRunTime::teardown();
}

TEST(ScriptedObjects, TheirEndLeavesTheInstanceToTheInterpreter) {
  const auto home = loadedHome(std::string(scriptBase) +
                               "import weakref\n"
                               "made = []\n"
                               "def CreateAuInstance(name):\n"
                               "    instance = Recorder()\n"
                               "    made.append(weakref.ref(instance))\n"
                               "    return instance\n");
  std::make_unique<CAuthNUploadObj>()->SetPlatform(0);
  EXPECT_EQ(pythonValue("rt.made[0]() is not None"), "True");
  CPythonRunTime::teardown();
}
}  // namespace
