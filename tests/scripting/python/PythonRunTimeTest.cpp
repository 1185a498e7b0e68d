// The interpreter's start, the load of the script, and the end of both.
#include "scripting/python/PythonCall.h"
#include "scripting/python/PythonRunTime.h"
#include "scripting/python/ScriptHome.h"
#include "support/RecordingLogger.h"
#include "support/WaitUntil.h"
#include <ExternlMediaTransfer/ExternlMediaTransfer.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <thread>
#include <vector>

using namespace KBL;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::Not;
using testing::SizeIs;

namespace fs = std::filesystem;

namespace {

std::string loginUrl() {
  const auto environment = CPythonRunTime::getEnvironment();
  if (environment == nullptr) return "(no environment)";
  return environment->CreateAuInstance(0)->GetLoginURL();
}

/// The entries of sys.path that the library added.
std::string ownPaths(const ScriptHome& home) {
  return pythonValue("[p[" + std::to_string(home.path().size()) + ":] for p in sys.path if p.startswith('" +
                     home.path() + "') and '/lib/' not in p]");
}

const std::string answering = recorderWith("{'GetLoginURL': 'https://login'}");

TEST(TransferEnvironment, ANullPathIsRefused) {
  EXPECT_EQ(setupTransferEnv(nullptr, 0), 1);
  EXPECT_EQ(setupTransferEnv(nullptr, 5), 1);
  EXPECT_EQ(CPythonRunTime::getEnvironment(), nullptr);
}

TEST(TransferEnvironment, AnEmptyPathIsLoggedAndStartsNothing) {
  const ScopedRecordingLogger log;
  ErrorOutput output;
  EXPECT_EQ(setupTransferEnv("", 0), 0);
  const auto lines = log->linesWith("python runtime path not configure");
  ASSERT_THAT(lines, SizeIs(1));
  EXPECT_EQ(lines[0].text, "python runtime path not configure");
  EXPECT_EQ(lines[0].severity, 2);
  EXPECT_EQ(lines[0].function, "KBL::CPythonRunTime::InitPython");
  const auto environment = CPythonRunTime::getEnvironment();
  ASSERT_NE(environment, nullptr);
  EXPECT_FALSE(environment->initialised());
  EXPECT_EQ(pythonHome, "");
  EXPECT_EQ(output.text(), "");
  // The time is told all the same, behind it.
  ASSERT_THAT(log->lines(), SizeIs(3));
  EXPECT_THAT(log->lines()[1].text, MatchesRegex("init python: [0-9]+ ms"));
  EXPECT_EQ(log->lines()[1].function, "KBL::CPythonRunTime::setHomePath");
  EXPECT_EQ(teardownTransferEnv(), 0);
}

TEST(TransferEnvironment, ALengthTakesThatManyBytes) {
  const ScriptHome home(answering);
  fs::current_path(home.parent().path());
  const ScopedRecordingLogger log;
  setenv("MEDIATRANSFER_PYTHON", testedPython().library.c_str(), 1);
  ErrorOutput output;
  EXPECT_EQ(setupTransferEnv("home/and more", 5), 0);
  EXPECT_EQ(output.text(), "---------->python path:home/\n");
  EXPECT_EQ(pythonHome, "home/");
  EXPECT_EQ(loginUrl(), "https://login");
  CPythonRunTime::teardown();
}

TEST(TransferEnvironment, TheInterpreterStartsAtOnceAndTheScriptWaitsForTheFirstRequest) {
  const ScriptHome home("import sys\nsys.loaded = True\n" + answering);
  const ScopedRecordingLogger log;
  ErrorOutput output;
  home.setUp();
  EXPECT_EQ(pythonValue("hasattr(sys, 'loaded')"), "False");
  const auto started = log->linesWith("init python: ");
  ASSERT_THAT(started, SizeIs(1));
  EXPECT_THAT(started[0].text, MatchesRegex("init python: [0-9]+ ms"));
  EXPECT_EQ(started[0].severity, 4);
  EXPECT_THAT(log->linesWith("init lib"), IsEmpty());

  EXPECT_EQ(loginUrl(), "https://login");
  EXPECT_EQ(pythonValue("sys.loaded"), "True");
  const auto loaded = log->linesWith("init lib: ");
  ASSERT_THAT(loaded, SizeIs(1));
  EXPECT_THAT(loaded[0].text, MatchesRegex("init lib: [0-9]+ ms"));
  EXPECT_EQ(loaded[0].severity, 4);
  EXPECT_EQ(loaded[0].function, "CPythonRunTime::getEnvironment");
  EXPECT_EQ(output.text(),
            "---------->python path:" + home.path() + "\nInitRTFunc in path:" + home.path() + "\n");
  EXPECT_THAT(log->linesWith("path:"), IsEmpty());
  EXPECT_THAT(log->linesWith(home.path()), IsEmpty());
  CPythonRunTime::teardown();
}

TEST(TransferEnvironment, OneThatStandsIsNotReplaced) {
  const ScriptHome home(answering);
  home.setUp();
  const auto before = CPythonRunTime::getEnvironment();
  const ScopedRecordingLogger log;
  ErrorOutput output;
  EXPECT_EQ(setupTransferEnv("/elsewhere/", 0), 0);
  EXPECT_EQ(CPythonRunTime::getEnvironment(), before);
  EXPECT_EQ(pythonHome, home.path());
  EXPECT_EQ(output.text(), "");
  EXPECT_THAT(log->lines(), IsEmpty());
  CPythonRunTime::teardown();
}

TEST(TransferEnvironment, ManyThreadsMakeOneAndAllWaitForTheLoad) {
  const ScriptHome home("import time\ntime.sleep(0.2)\n" + answering);
  const ScopedRecordingLogger log;
  setenv("MEDIATRANSFER_PYTHON", testedPython().library.c_str(), 1);
  std::vector<std::string> answers(8);
  std::vector<std::thread> threads;
  for (std::string& answer : answers) {
    threads.emplace_back([&] {
      (void)setupTransferEnv(home.path().c_str(), 0);
      answer = loginUrl();
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_THAT(answers, testing::Each("https://login"));
  EXPECT_THAT(log->linesWith("init python: "), SizeIs(1));
  EXPECT_THAT(log->linesWith("init lib: "), SizeIs(1));
  CPythonRunTime::teardown();
}

TEST(TransferEnvironment, OneThatLoadsItsScriptDoesNotHoldASecondSetupUp) {
  const ScriptHome home(
      "import os, time\nopen('begun', 'w').close()\nwhile not os.path.exists('end'): "
      "time.sleep(0.001)\n" +
      answering);
  fs::current_path(home.parent().path());
  home.setUp();
  std::thread loading([] { EXPECT_EQ(loginUrl(), "https://login"); });
  ASSERT_TRUE(waitUntil([] { return fs::exists("begun"); }));
  std::atomic<bool> back{false};
  std::thread second([&] {
    EXPECT_EQ(setupTransferEnv("/elsewhere/", 0), 0);
    back = true;
  });
  EXPECT_TRUE(waitUntil([&] { return back.load(); }));
  home.parent().write("end", "");
  second.join();
  loading.join();
  CPythonRunTime::teardown();
}

TEST(TransferEnvironment, ALengthBelow1StandsForATerminatedText) {
  EXPECT_EQ(setupTransferEnv("", -1), 0);
  EXPECT_EQ(teardownTransferEnv(), 0);
  const ScriptHome home(answering);
  setenv("MEDIATRANSFER_PYTHON", testedPython().library.c_str(), 1);
  EXPECT_EQ(setupTransferEnv(home.path().c_str(), -2147483647 - 1), 0);
  EXPECT_EQ(pythonHome, home.path());
  EXPECT_EQ(loginUrl(), "https://login");
  CPythonRunTime::teardown();
}

TEST(TransferEnvironment, ALengthNeedsNoTerminatorAndEndsAtNone) {
  const ScriptHome home(answering);
  setenv("MEDIATRANSFER_PYTHON", testedPython().library.c_str(), 1);
  const std::vector<char> withoutEnd(home.path().begin(), home.path().end());
  EXPECT_EQ(setupTransferEnv(withoutEnd.data(), static_cast<int>(withoutEnd.size())), 0);
  EXPECT_EQ(pythonHome, home.path());
  CPythonRunTime::teardown();
  const std::string zeroInside = home.path() + std::string("\0rest", 5);
  EXPECT_EQ(setupTransferEnv(zeroInside.data(), static_cast<int>(zeroInside.size())), 0);
  EXPECT_EQ(pythonHome, zeroInside);
  CPythonRunTime::teardown();
}

// --- The script

TEST(ScriptLoad, PutsThreePlacesOnThePathBeforeTheScriptRuns) {
  const ScriptHome home("import inhome, intools\n" + answering);
  home.write("pythondlls/intools.py", "");
  home.write("pysocialnetwork/inhome.py", "");
  home.setUp();
  EXPECT_EQ(loginUrl(), "https://login");
  EXPECT_EQ(ownPaths(home), "['python38.zip', 'pythondlls', 'pysocialnetwork']");
  CPythonRunTime::teardown();
}

TEST(ScriptLoad, ModulesComeFromTheArchiveToo) {
  const ScriptHome home("import inarchive\n" + recorderWith("{'GetLoginURL': inarchive.text}"));
  home.setUp();
  ASSERT_TRUE(
      runPython("import zipfile\nwith zipfile.ZipFile(r'" + home.path() +
                "python38.zip', 'w') as archive: archive.writestr('inarchive.py', 'text = \"zipped\"')\n"));
  EXPECT_EQ(loginUrl(), "zipped");
  CPythonRunTime::teardown();
}

TEST(ScriptLoad, CallsTheModulePythonrt) {
  const auto home = loadedHome(answering + "\nfile = (lambda: 0).__code__.co_filename\n");
  EXPECT_EQ(pythonValue("(rt.__name__, rt.file)"), "('pythonrt', 'pythonrt')");
  CPythonRunTime::teardown();
}

TEST(ScriptLoad, TakesNoReferenceToTheFactory) {
  const auto home = loadedHome(answering + "\ndef other(): pass\n");
  EXPECT_EQ(pythonValue("sys.getrefcount(rt.CreateAuInstance) - sys.getrefcount(rt.other)"), "0");
  CPythonRunTime::teardown();
}

TEST(ScriptLoad, IsCutAtAZeroByte) {
  const ScriptHome home(answering + std::string("\0 not Python (", 14));
  home.setUp();
  EXPECT_EQ(loginUrl(), "https://login");
  CPythonRunTime::teardown();
}

TEST(ScriptLoad, OfAMissingFileGivesNoFactory) {
  const ScriptHome home(answering);
  fs::remove(home.path() + "pythondlls/authupload.py");
  ErrorOutput output;
  home.setUp();
  EXPECT_EQ(loginUrl(), "");
  EXPECT_EQ(ownPaths(home), "['python38.zip', 'pythondlls', 'pysocialnetwork']");
  EXPECT_THAT(output.text(), Not(HasSubstr("Traceback")));
  CPythonRunTime::teardown();
}

TEST(ScriptLoad, ASyntaxErrorIsPrintedAndLeavesThePath) {
  const ScriptHome home("def (\n");
  ErrorOutput output;
  home.setUp();
  EXPECT_EQ(loginUrl(), "");
  EXPECT_EQ(ownPaths(home), "[]");
  const std::string printed = output.text();
  EXPECT_THAT(printed, HasSubstr("SyntaxError"));
  EXPECT_THAT(printed, HasSubstr("File \"pythonrt\", line 1"));
  EXPECT_THAT(printed, Not(HasSubstr("InitRTFunc")));
  CPythonRunTime::teardown();
}

TEST(ScriptLoad, AScriptThatRaisesIsPrintedAndHasNoFactory) {
  const ScriptHome home(answering + "\nraise RuntimeError('at the top')\n");
  ErrorOutput output;
  home.setUp();
  EXPECT_EQ(loginUrl(), "");
  EXPECT_EQ(ownPaths(home), "['python38.zip', 'pythondlls', 'pysocialnetwork']");
  EXPECT_THAT(output.text(), HasSubstr("RuntimeError: at the top"));
  CPythonRunTime::teardown();
}

TEST(ScriptLoad, AScriptThatWantsToExitDoesNotEndTheProcess) {
  const ScriptHome home("import sys\nsys.exit(3)\n");
  ErrorOutput output;
  home.setUp();
  EXPECT_EQ(loginUrl(), "");
  EXPECT_THAT(output.text(), HasSubstr("SystemExit: 3"));
  CPythonRunTime::teardown();
}

TEST(ScriptLoad, IsTriedOnceEvenIfItFailed) {
  const ScriptHome home("def (\n");
  home.setUp();
  EXPECT_EQ(loginUrl(), "");
  home.write("pythondlls/authupload.py", answering);
  const ScopedRecordingLogger log;
  EXPECT_EQ(loginUrl(), "");
  EXPECT_THAT(log->linesWith("init lib"), IsEmpty());
  CPythonRunTime::teardown();
}

TEST(ScriptLoad, DoesNotTouchTheFileASecondTime) {
  const ScriptHome home(answering);
  home.setUp();
  EXPECT_EQ(loginUrl(), "https://login");
  home.write("pythondlls/authupload.py", recorderWith("{'GetLoginURL': 'other'}"));
  EXPECT_EQ(loginUrl(), "https://login");
  CPythonRunTime::teardown();
}

// --- Homes

class HomePath : public testing::TestWithParam<const char*> {};

TEST_P(HomePath, Works) {
  setenv("LC_ALL", "C", 1);
  const ScriptHome home("import inhome\n" + answering, GetParam());
  home.write("pysocialnetwork/inhome.py", "");
  home.setUp();
  EXPECT_EQ(loginUrl(), "https://login");
  EXPECT_EQ(pythonValue("[p for p in sys.path if p.endswith('pythondlls')][0]"), home.path() + "pythondlls");
  CPythonRunTime::teardown();
}

INSTANTIATE_TEST_SUITE_P(Names, HomePath,
                         testing::Values("with blanks in it", "Fußgängerübergänge", "日本語", "a%20b#c",
                                         "\"double\""),
                         [](const auto& test) { return "Number" + std::to_string(test.index); });

TEST(HomePathOddity, AQuoteBreaksTheStatementsOfThePathOnly) {
  const ScriptHome home(answering, "o'clock");
  ErrorOutput output;
  home.setUp();
  EXPECT_EQ(loginUrl(), "https://login");
  EXPECT_EQ(pythonValue("[p for p in sys.path if 'pythondlls' in p or 'pysocial' in p]"), "[]");
  EXPECT_THAT(output.text(), HasSubstr("SyntaxError"));
  CPythonRunTime::teardown();
}

TEST(HomePathOddity, ABackslashActsAsAnEscape) {
  const ScriptHome home(answering, "one\\two");
  home.setUp();
  EXPECT_EQ(loginUrl(), "https://login");
  EXPECT_EQ(pythonValue("[p[-13:] for p in sys.path if p.endswith('pythondlls')]"), R"(['wo/pythondlls'])");
  EXPECT_EQ(pythonValue("[p.count(chr(9)) for p in sys.path if p.endswith('pythondlls')]"), "[1]");
  CPythonRunTime::teardown();
}

TEST(HomePathDeathTest, OfAnInterpreterThatCannotStartEndsTheProcess) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  const TemporaryDirectory empty;
  setenv("MEDIATRANSFER_PYTHON", testedPython().library.c_str(), 1);
  EXPECT_DEATH((void)setupTransferEnv(empty.file("").c_str(), 0), "encodings");
}

// --- The end

TEST(Teardown, WithoutAnEnvironmentDoesNothing) {
  EXPECT_EQ(teardownTransferEnv(), 0);
  EXPECT_EQ(teardownTransferEnv(), 0);
}

TEST(Teardown, EndsTheInterpreter) {
  const auto home = loadedHome(answering);
  const PythonApi* const api = PythonGate::instance().running();
  ASSERT_NE(api, nullptr);
  EXPECT_NE(api->Py_IsInitialized(), 0);
  ErrorOutput output;
  EXPECT_EQ(teardownTransferEnv(), 0);
  EXPECT_EQ(api->Py_IsInitialized(), 0);
  EXPECT_EQ(CPythonRunTime::getEnvironment(), nullptr);
  EXPECT_EQ(pythonHome, home->path());
  EXPECT_EQ(teardownTransferEnv(), 0);
  EXPECT_EQ(output.text(), "");
}

TEST(Teardown, AnotherThreadThanTheStartersMayCallIt) {
  const auto home = loadedHome("import threading\n" + answering);
  const PythonApi* const api = PythonGate::instance().running();
  ErrorOutput output;
  std::thread([] { EXPECT_EQ(teardownTransferEnv(), 0); }).join();
  EXPECT_EQ(api->Py_IsInitialized(), 0);
  EXPECT_EQ(output.text(), "");
}

TEST(Teardown, ASetupAfterItStartsAnInterpreterWithoutTheScript) {
  const auto home = loadedHome(answering);
  CPythonRunTime::teardown();
  EXPECT_EQ(loginUrl(), "(no environment)");
  const ScopedRecordingLogger log;
  home->setUp();
  EXPECT_THAT(log->linesWith("init python: "), SizeIs(1));
  const auto environment = CPythonRunTime::getEnvironment();
  ASSERT_NE(environment, nullptr);
  EXPECT_TRUE(environment->initialised());
  EXPECT_EQ(loginUrl(), "");
  EXPECT_THAT(log->linesWith("init lib"), IsEmpty());
  CPythonRunTime::teardown();
}

TEST(Teardown, TheFlagOfTheLoadOutlivesAnEnvironmentWithoutInterpreter) {
  EXPECT_EQ(setupTransferEnv("", 0), 0);
  (void)CPythonRunTime::getEnvironment();
  CPythonRunTime::teardown();
  const ScriptHome home(answering);
  home.setUp();
  EXPECT_EQ(loginUrl(), "");
  CPythonRunTime::teardown();
}
}  // namespace
