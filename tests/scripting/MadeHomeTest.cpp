// A home as the project's own tool makes it, with the package of the scripted platforms.
#include "scripting/AuthNUploadObj.h"
#include "scripting/python/PythonLibrary.h"
#include "scripting/python/ScriptHome.h"
#include "support/ChildProcess.h"
#include <ExternlMediaTransfer/ExternlMediaTransfer.h>
#include <ExternlMediaTransfer/TransferNumbers.h>
#include <KblUtils/RefPtr.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

using namespace KBL;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

TEST(MadeHome, ServesEveryScriptedPlatformWithItsOwnInterpreter) {
  const TemporaryDirectory directory;
  const std::string home = directory.file("Fußgänger home") + "/";
  ChildProcess tool({MAKE_PYTHON_HOME, home, "--python", testedPython().program}, directory.file("log"));
  ASSERT_EQ(tool.wait(), 0) << directory.read("log");
  unsetenv(pythonLibraryVariable);
  ASSERT_EQ(setupTransferEnv(home.c_str(), 0), 0);
  for (const int platform : {0, 1, 2, 4, 5}) {
    const auto transfer = adoptRef(createEMTUpTransfer(platform));
    EXPECT_EQ(transfer->Command(KBL::commandSetAppBrand, 0LL), 0);
    EXPECT_EQ(transfer->Command(KBL::commandSetApp, "the-id", "the-secret", "https://back.example/"), 0);
    std::vector<char> url(CAuthNUploadObj::loginUrlRoom);
    EXPECT_EQ(transfer->Query(KBL::queryLoginUrl, url.data()), 0) << platform;
    EXPECT_THAT(url.data(), StartsWith("https://")) << platform;
    EXPECT_THAT(url.data(), HasSubstr("the-id")) << platform;
  }
  const auto flickr = adoptRef(createEMTUpTransfer(KBL::transferFlickr));
  std::vector<char> error(CAuthNUploadObj::errorTextRoom);
  EXPECT_EQ(flickr->Command(KBL::commandSetAccessToken, "no token of its", error.data()), 1);
  EXPECT_STRNE(error.data(), "");
  EXPECT_THAT(pythonValue("sys.version.split()[0]"),
              StartsWith(testedPython().stdlib.filename().string().substr(std::string("python").size())));
  EXPECT_EQ(teardownTransferEnv(), 0);
}
}  // namespace
