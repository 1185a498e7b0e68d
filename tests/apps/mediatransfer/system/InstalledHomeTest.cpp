#include "support/TemporaryDirectory.h"
#include "system/InstalledHome.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace {

namespace fs = std::filesystem;

TEST(InstalledHome, IsBesideTheProgramAndNowhereElse) {
  const TemporaryDirectory prefix;
  fs::create_directories(prefix.file("lib/ExternlMediaTransfer/python_home"));
  prefix.write("lib/ExternlMediaTransfer/python_home/python38.zip", "");
  const fs::path before = fs::current_path();
  fs::current_path(prefix.path());

  EXPECT_TRUE(fs::equivalent(fs::path(host::pythonHomeOf(prefix.path() / "bin" / "mediatransfer")),
                             prefix.file("lib/ExternlMediaTransfer/python_home")));
  EXPECT_EQ(host::pythonHomeOf(prefix.path() / "elsewhere" / "bin" / "mediatransfer"), "");
  EXPECT_EQ(host::pythonHomeOf(""), "") << "nobody tells where the program is";

  fs::current_path(before);
}

TEST(InstalledHome, GoesToScriptsWithSlashesAlone) {
  EXPECT_EQ(host::homeForScripts(""), "");
  EXPECT_EQ(host::homeForScripts("/opt/home"), "/opt/home/");
  EXPECT_EQ(host::homeForScripts("/opt/home/"), "/opt/home/");
#if defined(_WIN32)
  EXPECT_EQ(host::homeForScripts("C:\\Users\\name\\home"), "C:/Users/name/home/");
  EXPECT_EQ(host::homeForScripts("C:\\Users\\name\\home\\"), "C:/Users/name/home/");
#else
  EXPECT_EQ(host::homeForScripts("/opt/a\\b"), "/opt/a\\b/") << "a letter of the name";
#endif
}

}  // namespace
