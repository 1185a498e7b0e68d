// What becomes of a script's results and failures.
#include "scripting/python/ScriptEventEntry.h"
#include "scripting/python/ScriptObject.h"
#include "support/RecordingLogger.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <utility>
#include <vector>

using namespace KBL;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

namespace {
// --- Texts

struct TextCase {
  const char* name;
  const char* answer;  ///< a Python expression
  std::string text;
  const char* printed;  ///< part of what is printed; empty when nothing is
};

class ScriptTexts : public testing::TestWithParam<TextCase> {};

TEST_P(ScriptTexts, AreDecodedAndLogged) {
  const ScriptObject object(recorderWith(std::string("{'GetLoginURL': ") + GetParam().answer + "}"));
  const ScopedRecordingLogger log;
  ErrorOutput output;
  EXPECT_EQ(object->GetLoginURL(), GetParam().text);
  const std::string printed = output.text();
  if (*GetParam().printed == '\0') {
    EXPECT_EQ(printed, "");
  } else {
    EXPECT_THAT(printed, HasSubstr(GetParam().printed));
  }
  const auto lines = log->linesWith("py_msg: ");
  ASSERT_THAT(lines, SizeIs(1));
  EXPECT_EQ(lines[0].text, "py_msg: " + GetParam().text);
  EXPECT_EQ(lines[0].severity, 4);
  EXPECT_EQ(lines[0].function, "CPythonAuObject::PyResult2String");
}

INSTANTIATE_TEST_SUITE_P(
    Answers, ScriptTexts,
    testing::Values(
        TextCase{"Text", "'https://login'", "https://login", ""}, TextCase{"Empty", "''", "", ""},
        TextCase{"Unicode", "'Grüße, 日本'", "Grüße, 日本", ""},
        TextCase{"TextSubclass", "type('T', (str,), {})('sub')", "sub", ""},
        TextCase{"ZeroInText", "'cut\\0here'", "cut", ""},
        TextCase{"Surrogate", "'\\udc80'", "", "UnicodeEncodeError"},
        TextCase{"Bytes", "b'as it is'", "as it is", ""},
        TextCase{"BytesThatAreNoUtf8", "b'\\xff\\xfe'", "\xff\xfe", ""},
        TextCase{"BytesSubclass", "type('B', (bytes,), {})(b'sub')", "sub", ""},
        TextCase{"ZeroInBytes", "b'cut\\0here'", "cut", ""}, TextCase{"Number", "42", "42", ""},
        TextCase{"None", "None", "None", ""}, TextCase{"List", "['a', 1]", "['a', 1]", ""},
        TextCase{"Bytearray", "bytearray(b'x')", "bytearray(b'x')", ""},
        TextCase{"ReprThatRaises", "type('R', (), {'__repr__': lambda self: fail()})()", "", "told to fail"},
        TextCase{"ReprThatIsNoText", "type('R', (), {'__repr__': lambda self: 5})()", "", "TypeError"},
        TextCase{"ReprWithASurrogate", "type('R', (), {'__repr__': lambda self: '\\udc80'})()", "",
                 "UnicodeEncodeError"}),
    [](const auto& test) { return test.param.name; });

TEST(ScriptTextOddity, AFailureIsPrintedAndGivesAnEmptyText) {
  const ScriptObject object(recorderWith("{'GetAccessToken': fail}"));
  const ScopedRecordingLogger log;
  ErrorOutput output;
  EXPECT_EQ(object->GetAccessToken(), "");
  EXPECT_THAT(output.text(), HasSubstr("RuntimeError: told to fail"));
  EXPECT_THAT(log->linesWith("py_msg"), IsEmpty());
}

TEST(ScriptTextOddity, OneReferenceACallStaysBehind) {
  const ScriptObject object(std::string(scriptBase) +
                            "class Tested(Uploader):\n"
                            "    def __init__(self): self.url, self.user_name = ''.join(['https:', '//']), "
                            "b''.join([b'by', b'tes'])\n"
                            "    def GetLoginURL(self): return self.url\n"
                            "    def GetUserName(self): return self.user_name\n"
                            "made = Tested()\n"
                            "def CreateAuInstance(name): return made\n");
  const std::string counts = "(sys.getrefcount(rt.made.url), sys.getrefcount(rt.made.user_name))";
  const auto before = pythonValue(counts);
  for (int call = 0; call < 10; ++call) {
    EXPECT_EQ(object->GetLoginURL(), "https://");
    EXPECT_EQ(object->GetUserName(), "bytes");
  }
  EXPECT_EQ(pythonValue("tuple(now - before for now, before in zip(" + counts + ", " + before + "))"),
            "(10, 10)");
}

TEST(ScriptTextOddity, OfEveryMethodOneReferenceACallStaysBehind) {
  const ScriptObject object(std::string(scriptBase) +
                            "class Number(int): pass\n"
                            "answer = Number(3)\n"
                            "class Tested(Uploader):\n"
                            "    def __getattr__(self, name): return lambda *arguments: answer\n"
                            "    def SetCallback(self, capsule): return answer\n"
                            "    def SetUserObj(self, user): return answer\n"
                            "def CreateAuInstance(name): return Tested()\n");
  const std::pair<const char*, std::function<void()>> calls[] = {
      {"SetCallback and SetUserObj", [&] { object->SetCallback(scriptEventEntry, 1); }},
      {"SetBrand", [&] { object->SetBrand("b"); }},
      {"SetAppKey", [&] { object->SetAppKey("k"); }},
      {"SetAppSecret", [&] { object->SetAppSecret("s"); }},
      {"SetRedirectURL", [&] { object->SetRedirectURL("u"); }},
      {"GetLoginURL", [&] { (void)object->GetLoginURL(); }},
      {"VerifyRedirectURL", [&] { (void)object->VerifyRedirectURL("u"); }},
      {"SetAccessToken", [&] { (void)object->SetAccessToken("t"); }},
      {"GetVideoHD", [&] { (void)object->callForNumber("GetVideoHD"); }},
      {"Logout", [&] { object->Logout(); }},
      {"ShareLink", [&] { object->ShareLink("a", "b"); }},
      {"StartUpload", [&] { object->StartUpload({}); }},
      {"StopUpload", [&] { object->StopUpload(); }}};
  int before = std::stoi(pythonValue("sys.getrefcount(rt.answer)"));
  for (const auto& [name, call] : calls) {
    call();
    const int after = std::stoi(pythonValue("sys.getrefcount(rt.answer)"));
    EXPECT_EQ(after - before, std::string(name).find(" and ") == std::string::npos ? 1 : 2) << name;
    before = after;
  }
}

/// How many blocks of memory the interpreter has more after many calls of `method` than before.
int blocksKept(const ScriptObject& object, const std::string& method, int calls) {
  const std::string blocks = "sys.getallocatedblocks()";
  EXPECT_EQ(object->callForText(method), "an answer");
  const int before = std::stoi(pythonValue(blocks));
  for (int call = 0; call < calls; ++call) EXPECT_EQ(object->callForText(method), "an answer");
  return std::stoi(pythonValue(blocks)) - before;
}

TEST(ScriptTextOddity, TheBytesOfATextStayBehindAndWhatAReprNeedsDoesNot) {
  const ScriptObject object(scriptWith(R"(
    answer = "".join(["an ", "answer"])

    def GetLoginURL(self):
        return self.answer

    def GetUserName(self):
        return self

    def __repr__(self):
        return self.answer
)"));
  constexpr int calls = 2000;
  EXPECT_GE(blocksKept(object, "GetLoginURL", calls), calls);
  const std::string references = "sys.getrefcount(rt.Tested.answer)";
  const int before = std::stoi(pythonValue(references));
  EXPECT_LT(blocksKept(object, "GetUserName", calls), calls / 2);
  EXPECT_EQ(std::stoi(pythonValue(references)), before);
}

// --- Numbers

struct NumberCase {
  const char* name;
  const char* answer;  ///< a Python expression
  int general;         ///< what callForNumber and SetAccessToken give
  int verify;          ///< what VerifyRedirectURL gives
  const char* printed;
};

class ScriptNumbers : public testing::TestWithParam<NumberCase> {};

TEST_P(ScriptNumbers, AreDecodedDifferentlyByMethod) {
  const NumberCase& test = GetParam();
  const ScriptObject object(
      recorderWith("{name: " + std::string(test.answer) +
                   " for name in ('GetVideoHD', 'SetAccessToken', 'VerifyRedirectURL')}"));
  const std::vector<std::pair<std::function<int()>, int>> calls = {
      {[&] { return object->callForNumber("GetVideoHD"); }, test.general},
      {[&] { return object->SetAccessToken("t"); }, test.general},
      {[&] { return object->VerifyRedirectURL("u"); }, test.verify}};
  for (const auto& [call, expected] : calls) {
    ErrorOutput output;
    EXPECT_EQ(call(), expected);
    if (*test.printed == '\0') {
      EXPECT_EQ(output.text(), "");
    } else {
      EXPECT_THAT(output.text(), HasSubstr(test.printed));
    }
  }
  EXPECT_EQ(object->GetLoginURL(), "None");
}

INSTANTIATE_TEST_SUITE_P(
    Answers, ScriptNumbers,
    testing::Values(NumberCase{"Zero", "0", 0, 0, ""}, NumberCase{"Two", "2", 2, 2, ""},
                    NumberCase{"Negative", "-7", -7, -7, ""}, NumberCase{"Bool", "True", 1, 1, ""},
                    NumberCase{"Largest", "2147483647", 2147483647, 2147483647, ""},
                    NumberCase{"TooLarge", "2147483648", -1, -1, ""},
                    NumberCase{"Smallest", "-2147483648", -2147483647 - 1, -2147483647 - 1, ""},
                    NumberCase{"TooSmall", "-2147483649", -1, -1, ""},
                    NumberCase{"HugeNegative", "-1 << 200", -1, -1, ""},
                    NumberCase{"Complex", "1j", -1, -1, ""}, NumberCase{"Huge", "1 << 200", -1, -1, ""},
                    NumberCase{"Text", "'1'", -1, -1, ""}, NumberCase{"None", "None", -1, -1, ""},
                    NumberCase{"Raising", "fail", -1, 0, "RuntimeError: told to fail"}),
    [](const auto& test) { return test.param.name; });

// --- Failures

TEST(ScriptFailures, SettersPrintAndCarryOn) {
  const ScriptObject object(
      recorderWith("{'SetAppKey': fail, 'SetAppSecret': fail, 'SetRedirectURL': fail}"));
  ErrorOutput output;
  object->SetAppKey("k");
  object->SetAppSecret("s");
  object->SetRedirectURL("u");
  EXPECT_EQ(ScriptObject::calls(), "[('SetAppKey', 'k'), ('SetAppSecret', 's'), ('SetRedirectURL', 'u')]");
  EXPECT_THAT(output.text(), testing::ContainsRegex("told to fail(.|\n)*told to fail(.|\n)*told to fail"));
}

TEST(ScriptFailures, OfALogoutAreSilent) {
  const ScriptObject object(recorderWith("{'Logout': fail, 'GetLoginURL': 'https://login'}"));
  ErrorOutput output;
  object->Logout();
  EXPECT_EQ(object->GetLoginURL(), "https://login");
  EXPECT_EQ(output.text(), "");
}

TEST(ScriptFailures, OfTheOthersArePrinted) {
  const ScriptObject object(recorderWith(
      "{name: fail for name in ('SetBrand', 'ShareLink', 'StartUpload', 'StopUpload', 'GetUserName')}"));
  const std::function<void()> calls[] = {[&] { object->SetBrand("b"); }, [&] { object->ShareLink("a", "b"); },
                                         [&] { object->StartUpload({}); }, [&] { object->StopUpload(); },
                                         [&] { (void)object->GetUserName(); }};
  for (const auto& call : calls) {
    ErrorOutput output;
    call();
    EXPECT_THAT(output.text(), HasSubstr("RuntimeError: told to fail"));
  }
}

TEST(ScriptFailures, OfAMissingMethodIsAnErrorOfThatCallOnly) {
  const ScriptObject object(scriptWith("    def GetUserName(self): return 'me'\n"));
  ErrorOutput output;
  EXPECT_EQ(object->GetLoginURL(), "");
  EXPECT_EQ(object->VerifyRedirectURL("u"), 0);
  EXPECT_EQ(object->SetAccessToken("t"), -1);
  EXPECT_THAT(output.text(), HasSubstr("AttributeError"));
  EXPECT_EQ(object->GetUserName(), "me");
}

TEST(ScriptFailures, AnExitOfTheScriptsDoesNotEndTheProcess) {
  const ScriptObject object(
      recorderWith("{name: exit for name in ('GetLoginURL', 'SetAccessToken', 'StartUpload')}"
                   "\nRecorder.exit = exit\n")
          .insert(0, "import sys\ndef exit(): sys.exit(5)\n"));
  ErrorOutput output;
  EXPECT_EQ(object->GetLoginURL(), "");
  EXPECT_EQ(object->SetAccessToken("t"), -1);
  object->StartUpload({});
  EXPECT_THAT(output.text(), HasSubstr("SystemExit: 5"));
}

TEST(ScriptFailures, OfOneCallDoNotShowInTheNext) {
  const ScriptObject object(recorderWith("{'GetVideoHD': 'no number', 'GetLimitSpace': 12}"));
  EXPECT_EQ(object->callForNumber("GetVideoHD"), -1);
  EXPECT_EQ(object->callForNumber("GetLimitSpace"), 12);
}
}  // namespace
