// The wrapper of a script's object: names, formats, results, events.
#include "scripting/python/PythonAuObject.h"
#include "scripting/python/PythonRunTime.h"
#include "scripting/python/ScriptEventEntry.h"
#include "scripting/python/ScriptObject.h"
#include "support/RecordingLogger.h"
#include "support/RecordingSink.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <functional>
#include <thread>
#include <vector>

using namespace KBL;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

// --- Making

TEST(ScriptObjectMaking, NamesThePlatforms) {
  const auto home = loadedHome(recorderWith());
  for (std::uint32_t platform = 0; platform < 6; ++platform) EXPECT_NE(makeObject(platform), nullptr);
  EXPECT_EQ(pythonValue("rt.calls"), "['facebook', 'youtube', 'vimeo', 'flickr', 'instagram', 'twitch']");
  CPythonRunTime::teardown();
}

TEST(ScriptObjectMaking, OfOtherPlatformsCallsNothing) {
  const auto home = loadedHome(recorderWith());
  for (const std::uint32_t platform : {6U, 7U, 8U, 4294967295U}) EXPECT_EQ(makeObject(platform), nullptr);
  EXPECT_EQ(pythonValue("rt.calls"), "[]");
  CPythonRunTime::teardown();
}

/// Every method on an object around nothing: neutral results, and nothing printed.
void expectNothing(const CPythonAuObject& object) {
  ErrorOutput output;
  const hostTransferRecord record{};
  object.SetCallback(scriptEventEntry, 1);
  object.SetBrand("b");
  object.SetAppKey("k");
  object.SetAppSecret("s");
  object.SetRedirectURL("u");
  object.Logout();
  object.ShareLink("a", "b");
  object.StartUpload(record);
  object.StopUpload();
  for (const std::string& text :
       {object.GetLoginURL(), object.GetAccessToken(), object.GetAppKey(), object.GetAppSecret(),
        object.GetUserName(), object.GetLastError(), object.callForText("GetVideoCategories")}) {
    EXPECT_EQ(text, "");
  }
  EXPECT_EQ(object.VerifyRedirectURL("u"), 0);
  EXPECT_EQ(object.SetAccessToken("t"), 0);
  EXPECT_EQ(object.callForNumber("GetVideoHD"), 0);
  EXPECT_EQ(output.text(), "");
}

TEST(ScriptObjectMaking, WithoutAFactoryWrapsNothing) {
  const auto home = loadedHome("");
  const auto object = makeObject();
  ASSERT_NE(object, nullptr);
  expectNothing(*object);
  CPythonRunTime::teardown();
}

TEST(ScriptObjectMaking, AFactoryThatReplacesItselfIsCalledNoMore) {
  const auto home =
      loadedHome(std::string(scriptBase) + "def CreateAuInstance(name):\n" + "    global CreateAuInstance\n" +
                 "    Recorder.answers = {'GetLoginURL': 'https://login'}\n" +
                 "    CreateAuInstance = lambda name: None if name == 'flickr' else Recorder()\n" +
                 "    return Recorder()\n");
  for (int i = 0; i < 3; ++i) EXPECT_EQ(makeObject(0)->GetLoginURL(), "https://login");
  EXPECT_EQ(pythonValue("rt.CreateAuInstance.__name__"), "<lambda>");
  CPythonRunTime::teardown();
}

TEST(ScriptObjectMaking, AFactoryThatTakesItsNameAwayLivesUntilItsCallHasReturned) {
  const auto home = loadedHome(std::string(scriptBase) +
                               "import functools, weakref\n"
                               "alive = []\n"
                               "def make(name):\n"
                               "    factory = weakref.ref(globals().pop('CreateAuInstance'))\n"
                               "    alive.append(factory() is not None)\n"
                               "    return Recorder()\n"
                               "CreateAuInstance = functools.partial(make)\n");
  EXPECT_EQ(makeObject()->GetLoginURL(), "None");
  EXPECT_EQ(pythonValue("rt.alive"), "[True]");
  EXPECT_EQ(makeObject()->GetLoginURL(), "");
  CPythonRunTime::teardown();
}

TEST(ScriptObjectMaking, AFactoryThatRaisesIsNotPrintedAndLeavesNoErrorBehind) {
  const auto home =
      loadedHome(std::string(scriptBase) + "def CreateAuInstance(name):\n" +
                 "    if name == 'facebook':\n        fail()\n" +
                 "    Recorder.answers = {'GetLoginURL': 'https://login'}\n    return Recorder()\n");
  std::unique_ptr<CPythonAuObject> object;
  ErrorOutput output;
  object = makeObject(0);
  EXPECT_EQ(output.text(), "");
  ASSERT_NE(object, nullptr);
  expectNothing(*object);
  EXPECT_EQ(makeObject(1)->GetLoginURL(), "https://login");
  CPythonRunTime::teardown();
}

TEST(ScriptObjectMaking, AfterTheInterpretersEndNothingIsCalled) {
  const auto home =
      loadedHome(recorderWith("{'GetLoginURL': 'x', 'SetAccessToken': 1, 'VerifyRedirectURL': 2}"));
  const auto environment = CPythonRunTime::getEnvironment();
  const auto object = makeObject();
  CPythonRunTime::teardown();
  expectNothing(*object);
  expectNothing(*environment->CreateAuInstance(0));
  home->setUp();
  expectNothing(*object);
  CPythonRunTime::teardown();
}

TEST(ScriptObjectMaking, WithoutAnInterpreterNothingIsCalled) {
  (void)CPythonRunTime::setHomePath("", 0);
  const auto object = makeObject();
  ASSERT_NE(object, nullptr);
  expectNothing(*object);
  CPythonRunTime::teardown();
}

// --- The callback

constexpr const char* capsuleReader = R"(
class Tested(Recorder):
    def SetCallback(self, *arguments):
        name = ctypes.pythonapi.PyCapsule_GetName
        name.restype = ctypes.c_char_p
        name.argtypes = [ctypes.py_object]
        calls.append(("SetCallback", len(arguments), type(arguments[0]).__name__, name(arguments[0])))

    def SetUserObj(self, *arguments):
        calls.append(("SetUserObj",) + arguments)

def CreateAuInstance(name):
    return Tested()
)";

TEST(ScriptCallback, ComesAsANamedCapsuleBeforeTheUserObject) {
  const ScriptObject object(std::string(scriptBase) + capsuleReader);
  object->SetCallback(scriptEventEntry, 0x7000000000000001);
  EXPECT_EQ(ScriptObject::calls(),
            "[('SetCallback', 1, 'PyCapsule', b'SetCallback'), ('SetUserObj', 8070450532247928833)]");
}

TEST(ScriptCallback, OfAScriptThatRefusesItBringsNoUserObject) {
  const ScriptObject object(std::string(scriptBase) + capsuleReader +
                            "\nTested.SetCallback = lambda self, capsule: fail()\n");
  ErrorOutput output;
  object->SetCallback(scriptEventEntry, 1);
  EXPECT_THAT(output.text(), HasSubstr("RuntimeError: told to fail"));
  EXPECT_EQ(ScriptObject::calls(), "[]");
}

TEST(ScriptCallback, AUserObjectThatIsRefusedIsPrinted) {
  const ScriptObject object(std::string(scriptBase) + capsuleReader +
                            "\nTested.SetUserObj = lambda self, user: fail()\n");
  ErrorOutput output;
  object->SetCallback(scriptEventEntry, 1);
  EXPECT_THAT(output.text(), HasSubstr("RuntimeError: told to fail"));
}

TEST(ScriptCallback, BringsEventsWithTheScriptsOwnCodesAndValue0) {
  const ScriptObject object(scriptWith(R"(
    def StartUpload(self, *fields):
        for code in (1, 2, 3, 4, 99, 4294967295):
            self.report(code, "text %d" % code)
        self.callback(self.user, 7, None)
)"));
  const auto events = std::make_shared<RecordingSink>();
  const ScriptEventHandle handle(events);
  object->SetCallback(scriptEventEntry, handle.value());
  object->StartUpload({});
  EXPECT_THAT(
      events->events(),
      ElementsAre(ReportedEvent{1, "text 1", 0}, ReportedEvent{2, "text 2", 0}, ReportedEvent{3, "text 3", 0},
                  ReportedEvent{4, "text 4", 0}, ReportedEvent{99, "text 99", 0},
                  ReportedEvent{4294967295, "text 4294967295", 0}, ReportedEvent{7, "(null)", 0}));
}

TEST(ScriptCallback, HandlesAreNeverUsedTwiceAndUnknownOnesIgnored) {
  const auto events = std::make_shared<RecordingSink>();
  std::int64_t gone = 0;
  {
    const ScriptEventHandle handle(events);
    gone = handle.value();
  }
  const ScriptEventHandle handle(events);
  EXPECT_GT(handle.value(), gone);
  for (const std::intptr_t user :
       {std::intptr_t{gone}, std::intptr_t{0}, std::intptr_t{-1}, INTPTR_MAX, INTPTR_MIN}) {
    scriptEventEntry(user, 2, "lost");
  }
  EXPECT_THAT(events->events(), IsEmpty());
  scriptEventEntry(handle.value(), 2, "found");
  EXPECT_THAT(events->events(), ElementsAre(ReportedEvent{2, "found", 0}));
}

// --- Arguments

TEST(ScriptArguments, OfTheNamedMethods) {
  const ScriptObject object(recorderWith("{'VerifyRedirectURL': 0, 'SetAccessToken': 1}"));
  object->SetBrand("lumenfold");
  object->SetAppKey("key ü");
  object->SetAppSecret("secret");
  object->SetRedirectURL("https://back");
  EXPECT_EQ(object->VerifyRedirectURL("https://back?code=1"), 0);
  EXPECT_EQ(object->SetAccessToken("token"), 1);
  object->Logout();
  object->ShareLink("first", "second");
  object->StopUpload();
  EXPECT_EQ(
      ScriptObject::calls(),
      "[('SetBrand', 'lumenfold'), ('SetAppKey', 'key ü'), ('SetAppSecret', 'secret'), "
      "('SetRedirectURL', 'https://back'), ('VerifyRedirectURL', 'https://back?code=1'), "
      "('SetAccessToken', 'token'), ('Logout',), ('ShareLink', 'first', 'second', ''), ('StopUpload',)]");
}

TEST(ScriptArguments, OfTheGettersAreNone) {
  const ScriptObject object(
      recorderWith("{name: 1 for name in ('GetVideoHD', 'GetVideoSD', 'GetLimitSpace')}"));
  (void)object->GetLoginURL();
  (void)object->GetAccessToken();
  (void)object->GetAppKey();
  (void)object->GetAppSecret();
  (void)object->GetUserName();
  (void)object->GetLastError();
  (void)object->callForText("GetVideoCategories");
  for (const char* const method : {"GetVideoHD", "GetVideoSD", "GetLimitSpace"}) {
    EXPECT_EQ(object->callForNumber(method), 1);
  }
  EXPECT_EQ(
      ScriptObject::calls(),
      "[('GetLoginURL',), ('GetAccessToken',), ('GetAppKey',), ('GetAppSecret',), ('GetUserName',), "
      "('GetLastError',), ('GetVideoCategories',), ('GetVideoHD',), ('GetVideoSD',), ('GetLimitSpace',)]");
}

hostTransferRecord record(const std::string& thumbnail) {
  hostTransferRecord made{};
  std::strcpy(made.filePath, "/video.mp4");
  std::strcpy(made.title, "title");
  std::strcpy(made.description, "description");
  std::strcpy(made.tags, "tags");
  std::strcpy(made.category, "category");
  std::strcpy(made.privacy, "privacy");
  std::strcpy(made.thumbnailPath, thumbnail.c_str());
  return made;
}

TEST(ScriptArguments, OfAnUploadStandInTheirOwnOrder) {
  const ScriptObject object(recorderWith());
  object->StartUpload(record(""));
  EXPECT_EQ(ScriptObject::calls(),
            "[('StartUpload', '/video.mp4', 'title', 'description', 'privacy', 'tags', 'category')]");
}

TEST(ScriptArguments, AMissingThumbnailIsLeftOut) {
  const ScriptObject object(recorderWith());
  object->StartUpload(record("/nothing/of/this/name.png"));
  EXPECT_EQ(ScriptObject::calls(),
            "[('StartUpload', '/video.mp4', 'title', 'description', 'privacy', 'tags', 'category')]");
}

TEST(ScriptArguments, AThumbnailThatLeadsNowhereIsLeftOutAndAFolderIsNot) {
  const TemporaryDirectory directory;
  std::filesystem::create_symlink(directory.file("nothing"), directory.file("link"));
  const ScriptObject object(recorderWith());
  object->StartUpload(record(directory.file("link")));
  object->StartUpload(record(directory.path().string()));
  EXPECT_EQ(pythonValue("[len(call) - 1 for call in rt.calls]"), "[6, 7]");
}

TEST(ScriptArguments, AThumbnailThatExistsIsTheSeventh) {
  const TemporaryDirectory directory;
  const std::string thumbnail = directory.write("bild ü.png", "x");
  const ScriptObject object(recorderWith());
  object->StartUpload(record(thumbnail));
  EXPECT_EQ(ScriptObject::calls(),
            "[('StartUpload', '/video.mp4', 'title', 'description', 'privacy', 'tags', "
            "'category', '" +
                thumbnail + "')]");
}

TEST(ScriptArguments, FieldsWithoutATerminatorEndWithTheField) {
  const ScriptObject object(recorderWith());
  hostTransferRecord full{};
  std::memset(&full, 'x', offsetof(hostTransferRecord, useClient));
  object->StartUpload(full);
  EXPECT_EQ(pythonValue("[len(text) for text in rt.calls[0][1:]]"), "[1024, 1024, 8192, 48, 512, 48]");
}

TEST(ScriptArguments, TextThatIsNoUtf8IsAnErrorOfThatCallOnly) {
  const ScriptObject object(recorderWith());
  ErrorOutput output;
  object->SetAppKey("\xff\xfe");
  object->SetAppSecret("secret");
  EXPECT_EQ(ScriptObject::calls(), "[('SetAppSecret', 'secret')]");
  EXPECT_THAT(output.text(), HasSubstr("UnicodeDecodeError"));
}

TEST(ScriptArguments, ANullTextArrivesAsNone) {
  const ScriptObject object(recorderWith());
  object->SetRedirectURL(nullptr);
  EXPECT_EQ(ScriptObject::calls(), "[('SetRedirectURL', None)]");
}

// --- Threads

TEST(ScriptThreads, CallsComeFromAnyAndEachHoldsTheInterpreterLock) {
  const ScriptObject object(scriptWith(R"(
    inside = 0
    most = 0

    def GetLoginURL(self):
        Tested.inside += 1
        Tested.most = max(Tested.most, Tested.inside)
        for _ in range(10):
            pass
        Tested.inside -= 1
        return "x"
)") + "\nimport sys\nsys.setswitchinterval(1000)\n");
  std::vector<std::thread> threads;
  for (int thread = 0; thread < 4; ++thread) {
    threads.emplace_back([&] {
      for (int call = 0; call < 100; ++call) EXPECT_EQ(object->GetLoginURL(), "x");
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(pythonValue("rt.Tested.most"), "1");
}
}  // namespace
