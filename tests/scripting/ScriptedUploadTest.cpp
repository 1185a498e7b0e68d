// Upload objects and transfers whose platform a script serves.
#include "scripting/AuthNUploadObj.h"
#include "scripting/HostAccount.h"
#include "scripting/ScriptedObject.h"
#include "scripting/python/PythonRunTime.h"
#include "support/FakeManager.h"
#include "support/RecordingLogger.h"
#include "support/TemporaryDirectory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <vector>

using namespace KBL;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

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

TEST(ScriptedOperations, ATextThatIsNoUtf8IsRefusedBeforeTheScriptSeesIt) {
  ScriptedObject object(recorderAnswering("'SetAccessToken': 1, 'GetLastError': ''"));
  const ScopedRecordingLogger log;
  char error[CAuthNUploadObj::errorTextRoom] = "before";
  ErrorOutput output;
  EXPECT_EQ(object->VerifyRedirectURL("https://back?code=\xff", error), 2);
  EXPECT_EQ(object->SetAccessToken("to\xc3", error), 2);
  EXPECT_EQ(object->SetAppIdAndSecret("\x80", "s", "r"), 2);
  EXPECT_EQ(object->SetAppIdAndSecret("i", "\xed\xa0\x80", "r"), 2);
  EXPECT_EQ(object->SetAppIdAndSecret("i", "s", "\xc0\x80"), 2);
  EXPECT_EQ(output.text(), "");
  EXPECT_STREQ(error, "before");
  EXPECT_EQ(ScriptedObject::calls(), "[]");
  const auto lines = log->linesWith(", text is not UTF-8");
  ASSERT_THAT(lines, SizeIs(5));
  EXPECT_EQ(lines[0].text, "[AuthNUpload] CAuthNUploadObj::VerifyRedirectURL, text is not UTF-8");
  EXPECT_EQ(lines[0].severity, 3);
  EXPECT_EQ(object->SetAccessToken("Grüße, 日本, 𝄞", error), 0);
}

// Nothing else would ever tell of its end.
TEST(ScriptedOperations, AnUploadWithATextThatIsNoUtf8IsRefusedBeforeTheScriptSeesIt) {
  ScriptedObject object(recorderWith());
  const ScopedRecordingLogger log;
  ErrorOutput output;
  hostTransferRecord texts{};
  int refused = 0;
  for (char* const field :
       {texts.filePath, texts.title, texts.description, texts.privacy, texts.tags, texts.category}) {
    SCOPED_TRACE(++refused);
    std::strcpy(field,
                "Gr\xfc\xdf"
                "e");
    EXPECT_EQ(object->StartUpload(&texts), 2);
    std::strcpy(field, "Grüße");
  }
  EXPECT_EQ(output.text(), "");
  EXPECT_EQ(ScriptedObject::calls(), "[]");
  const auto lines = log->linesWith(", text is not UTF-8");
  ASSERT_THAT(lines, SizeIs(refused));
  EXPECT_EQ(lines[0].text, "[AuthNUpload] CAuthNUploadObj::StartUpload, text is not UTF-8");
  EXPECT_EQ(object->StartUpload(&texts), 0);
  EXPECT_EQ(ScriptedObject::calls(),
            "[('StartUpload', 'Grüße', 'Grüße', 'Grüße', 'Grüße', 'Grüße', 'Grüße')]");
}

TEST(ScriptedOperations, AThumbnailWhoseNameIsNoUtf8IsNone) {
  ScriptedObject object(recorderWith());
  const TemporaryDirectory directory;
  ErrorOutput output;
  hostTransferRecord texts{};
  std::strcpy(texts.thumbnailPath, directory.write("bild \xfc.png", "x").c_str());
  EXPECT_EQ(object->StartUpload(&texts), 0);
  EXPECT_EQ(output.text(), "");
  EXPECT_EQ(ScriptedObject::calls(), "[('StartUpload', '', '', '', '', '', '')]");
}

TEST(ScriptedOperations, AMessageThatIsNoUtf8IsRefusedBeforeTheScriptSeesIt) {
  ScriptedObject object(recorderWith());
  const ScopedRecordingLogger log;
  ErrorOutput output;
  hostShareRecord share{};
  std::strcpy(share.first, "\xff");
  EXPECT_EQ(object->PushMessage(&share), 2);
  std::strcpy(share.first, "first");
  std::strcpy(share.second, "\xff");
  EXPECT_EQ(object->PushMessage(&share), 2);
  EXPECT_EQ(output.text(), "");
  EXPECT_EQ(ScriptedObject::calls(), "[]");
  const auto lines = log->linesWith(", text is not UTF-8");
  ASSERT_THAT(lines, SizeIs(2));
  EXPECT_EQ(lines[0].text, "[AuthNUpload] CAuthNUploadObj::PushMessage, text is not UTF-8");
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
