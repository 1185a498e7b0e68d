// The rights of files, which POSIX systems have.
#include "sandbox/Sandbox.h"
#include "support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <filesystem>

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

}  // namespace
