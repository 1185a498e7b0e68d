// What programs that are started while a log is written inherit of it.
#include "support/HandlesWindows.h"
#include "support/TemporaryDirectory.h"
#include <KblLogger/LogSinks.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

TEST(LogSinks, ChildProcessesInheritNoHandleOfTheLog) {
  const TemporaryDirectory directory;
  KBL::LogSettings settings;
  settings.file = directory.file("host.log");
  settings.maxFileBytes = 200;
  const auto logger = KBL::makeLogger(settings);
  ASSERT_NE(logger, nullptr);
  const auto inherited = [&] {
    std::vector<bool> ofTheLog;
    for (const HANDLE handle : handlesIn(directory)) ofTheLog.push_back(isInherited(handle));
    return ofTheLog;
  };

  EXPECT_EQ(inherited(), std::vector<bool>{false});
  for (int line = 0; line < 5; ++line) {
    logger->write(KBL::IBsLogger::severityError, "a.cpp", 1, "f", std::string(100, 'x'));
  }
  EXPECT_EQ(inherited(), std::vector<bool>{false}) << "behind a rotation";
}

}  // namespace
