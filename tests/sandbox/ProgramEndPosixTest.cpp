// The program's end by a signal; wine has none for a process beside it.
#include "sandbox/ProgramFixture.h"

#include <gmock/gmock.h>

#include <filesystem>

namespace {

using testing::HasSubstr;

TEST_F(SandboxProgram, EndsOnTerminate) {
  ChildProcess program = run({});
  (void)address();
  ASSERT_TRUE(waitUntil([&] { return output().find("\n}\n") != std::string::npos; }));
  const std::string services = pathAfter("MEDIATRANSFER_SERVICES=");
  ASSERT_TRUE(std::filesystem::exists(services));

  program.terminate();

  EXPECT_EQ(program.wait(), 0);
  EXPECT_FALSE(std::filesystem::exists(services));
}

TEST_F(SandboxProgram, KeepsItsStateOnInterrupt) {
  ChildProcess program = run({"--state-dir", folder.file("state")});
  (void)address();

  program.interrupt();

  EXPECT_EQ(program.wait(), 0);
  EXPECT_THAT(folder.read("state/sandbox.db"), HasSubstr("tokens"));
}

}  // namespace
