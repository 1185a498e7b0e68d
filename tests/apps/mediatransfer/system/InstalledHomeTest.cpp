#include "system/InstalledHome.h"

#include <gtest/gtest.h>

namespace {

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
