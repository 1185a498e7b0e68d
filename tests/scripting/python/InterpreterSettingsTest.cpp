// What the library sets before it starts an interpreter, and that a host's own keeps the host's settings.
#include "scripting/python/HostsPython.h"
#include "scripting/python/PythonCall.h"
#include "scripting/python/ScriptObject.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>

using namespace KBL;

namespace fs = std::filesystem;

namespace {

constexpr const char* foreign = "where = 'foreign'\n";

const std::string tellingWhere =
    "import inhome, json\n" +
    recorderWith("{'GetLoginURL': inhome.where, 'GetUserName': getattr(json, 'where', 'standard')}");

/// A home whose own module `inhome` tells that it is.
std::unique_ptr<ScriptHome> homeWithModule() {
  auto home = std::make_unique<ScriptHome>(tellingWhere);
  home->write("pysocialnetwork/inhome.py", "where = 'home'\n");
  return home;
}

TEST(OwnInterpreter, LooksForNothingWhereTheVariablesOfPythonPoint) {
  const TemporaryDirectory elsewhere;
  for (const char* const module : {"inhome.py", "json.py", "ssl.py", "sitecustomize.py"}) {
    elsewhere.write(module, foreign);
  }
  setenv("PYTHONPATH", elsewhere.path().c_str(), 1);
  setenv("PYTHONOPTIMIZE", "1", 1);
  const auto home = homeWithModule();
  home->setUp();
  const auto object = makeObject();
  EXPECT_EQ(object->GetLoginURL(), "home");
  EXPECT_EQ(object->GetUserName(), "standard");
  EXPECT_EQ(pythonValue("getattr(sys.modules.get('sitecustomize'), 'where', '')"), "");
  EXPECT_EQ(pythonValue("sys.flags.optimize"), "0");
  CPythonRunTime::teardown();
}

TEST(OwnInterpreter, LooksForNothingInTheUsersSite) {
  const TemporaryDirectory user;
  const std::string site = ".local/lib/" + testedPython().stdlib.filename().string() + "/site-packages";
  fs::create_directories(user.path() / site);
  user.write(site + "/inhome.py", foreign);
  setenv("HOME", user.path().c_str(), 1);
  const auto home = homeWithModule();
  home->setUp();
  EXPECT_EQ(makeObject()->GetLoginURL(), "home");
  CPythonRunTime::teardown();
}

TEST(OwnInterpreter, LeavesTheNextOneOfTheHostsItsVariables) {
  setenv("PYTHONOPTIMIZE", "1", 1);
  const auto home = homeWithModule();
  home->setUp();
  CPythonRunTime::teardown();
  (void)startHostsPython();
  const char* const flags =
      "import sys\nkept = (sys.flags.optimize, sys.flags.ignore_environment, sys.flags.no_user_site)\n"
      "if kept != (1, 0, 0): raise RuntimeError(kept)\n";
  EXPECT_EQ(hostsPython().PyRun_SimpleStringFlags(flags, nullptr), 0);
  hostsPython().Py_Finalize();
}

TEST(HostsOwnInterpreter, KeepsItsVariablesAndCompilesTheScriptAsItOptimises) {
  setenv("PYTHONOPTIMIZE", "1", 1);
  const ScriptHome home("assert False\n" + recorderWith("{'GetLoginURL': 'https://login'}"));
  (void)startHostsPython();
  home.setUp();
  EXPECT_EQ(makeObject()->GetLoginURL(), "https://login");
  CPythonRunTime::teardown();
  hostsPython().Py_Finalize();
}
}  // namespace
