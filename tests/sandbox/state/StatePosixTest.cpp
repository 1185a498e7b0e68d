// The rights of files, which POSIX systems have.
#include "sandbox/Sandbox.h"
#include "support/TemporaryDirectory.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <stdexcept>
#include <string>

namespace {

TEST(StateFiles, AreForTheirOwnerOnly) {
  const TemporaryDirectory folder;
  sandbox::SandboxOptions options;
  options.stateDir = folder.file("state");
  sandbox::Sandbox server(options);
  server.issueAccountToken();
  const auto permissions = [&](const std::string& name) {
    return std::filesystem::status(folder.file(name)).permissions() & std::filesystem::perms::all;
  };

  EXPECT_EQ(permissions("state"), std::filesystem::perms::owner_all);
  EXPECT_EQ(permissions("state/sandbox.db"),
            std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
}

TEST(StateFiles, JsonThatDoesNotOpenIsRefusedAndLeftAsItIs) {
  const TemporaryDirectory folder;
  sandbox::SandboxOptions options;
  options.stateDir = folder.file("state");
  std::filesystem::create_directory(options.stateDir);
  // Closed to the superuser as well.
  const std::filesystem::path former = folder.file("state/sandbox.json");
  std::filesystem::create_symlink("sandbox.json", former);

  const auto refusal = [&]() -> std::string {
    try {
      const sandbox::Sandbox server(options);
    } catch (const std::runtime_error& error) {
      return error.what();
    }
    return "it starts";
  };
  for (const char* run : {"the first", "the second"}) {
    EXPECT_THAT(refusal(), testing::HasSubstr("sandbox.json: it can't be opened; move the file away")) << run;
    EXPECT_TRUE(std::filesystem::is_symlink(former)) << run;
  }
}

}  // namespace
