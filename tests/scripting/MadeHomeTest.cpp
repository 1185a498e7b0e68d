// A home as the project's own tool makes it, with the package of the scripted platforms.
#include "boundary/ExternlMediaTransfer.h"
#include "foundation/object/RefPtr.h"
#include "scripting/AuthNUploadObj.h"
#include "scripting/PythonLibrary.h"
#include "scripting/ScriptHome.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <vector>

using namespace KBL;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

TEST(MadeHome, ServesEveryScriptedPlatformWithItsOwnInterpreter) {
  const TemporaryDirectory directory;
  const std::string home = directory.file("Fußgänger home") + "/";
  const std::string command = std::string("'") + MAKE_PYTHON_HOME + "' '" + home + "' --python '" +
                              testedPython().program + "' >/dev/null";
  // NOLINTNEXTLINE(cert-env33-c): the tool is a program, and its arguments are the test's own
  ASSERT_EQ(std::system(command.c_str()), 0);
  unsetenv(pythonLibraryVariable);
  ASSERT_EQ(setupTransferEnv(home.c_str(), 0), 0);
  for (const int platform : {0, 1, 2, 4, 5}) {
    const auto transfer = adoptRef(createEMTUpTransfer(platform));
    EXPECT_EQ(transfer->Command(8, 0LL), 0);
    EXPECT_EQ(transfer->Command(9, "the-id", "the-secret", "https://back.example/"), 0);
    std::vector<char> url(CAuthNUploadObj::loginUrlRoom);
    EXPECT_EQ(transfer->Query(3, url.data()), 0) << platform;
    EXPECT_THAT(url.data(), StartsWith("https://")) << platform;
    EXPECT_THAT(url.data(), HasSubstr("the-id")) << platform;
  }
  const auto flickr = adoptRef(createEMTUpTransfer(3));
  std::vector<char> error(CAuthNUploadObj::errorTextRoom);
  EXPECT_EQ(flickr->Command(6, "no token of its", error.data()), 1);
  EXPECT_STRNE(error.data(), "");
  EXPECT_THAT(pythonValue("sys.version.split()[0]"),
              StartsWith(testedPython().stdlib.filename().string().substr(std::string("python").size())));
  EXPECT_EQ(teardownTransferEnv(), 0);
}
}  // namespace
