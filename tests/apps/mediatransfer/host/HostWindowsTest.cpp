// The way of a Python home to the library, where no interpreter is found.
#include "host/Host.h"
#include "options/Options.h"
#include "report/Report.h"
#include "support/TemporaryDirectory.h"
#include "system/Environment.h"
#include <KblLogger/KblLogger.h>
#include <KblUtils/Process.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace host {
namespace {

TEST(Host, HandsAHomeOnWithTheSlashesThatScriptsNeed) {
  Options options;
  options.pythonHome = R"(C:\Users\nobody\home)";
  const TemporaryDirectory place;
  options.logFile = place.file("log");
  const auto report = makeJsonReport();
  // No real interpreter is found, and none is started at that home.
  const std::string path = KBL::Environment::variable("PATH");
  setEnvironment("PATH", "");
  setEnvironment("MEDIATRANSFER_PYTHON", "");

  {
    Host host(options, *report, Servers::none);
    host.openTransfers();
  }

  setEnvironment("PATH", path);
  KBL::installLogger(nullptr);
  EXPECT_THAT(place.read("log"), testing::HasSubstr("tried: C:/Users/nobody/home/ ("));
}

}  // namespace
}  // namespace host
