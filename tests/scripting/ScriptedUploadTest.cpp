#include "scripting/AuthNUploadObj.h"
#include "scripting/PythonRunTime.h"
#include "scripting/ScriptHome.h"
#include "support/WaitUntil.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>

using namespace KBL;

namespace {
std::atomic<int> finished{0};

int countFinished(void*, IExternlMediaTransfer*, int event, int, const char*) {
  if (event == transferEventFinished) ++finished;
  return 0;
}

TEST(ScriptedUpload, ReportsFromAThreadOfTheScript) {
  const ScriptHome home(scriptWith(R"(
    def StartUpload(self, *fields):
        import threading
        threading.Thread(target=self.report, args=(2, fields[0]), daemon=True).start()
)"));
  home.setUp();
  CAuthNUploadObj object;
  ASSERT_EQ(object.SetPlatform(0), 0);
  object.SetCallback(countFinished);
  hostTransferRecord record{};
  EXPECT_EQ(object.StartUpload(&record), 0);
  EXPECT_TRUE(waitUntil([] { return finished == 1; }));
  CPythonRunTime::teardown();
}
}  // namespace
