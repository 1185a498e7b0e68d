// Transfers whose platform a script serves, through the exports.
#include "scripting/AuthNUploadObj.h"
#include "scripting/HostAccount.h"
#include "scripting/python/PythonRunTime.h"
#include "scripting/python/ScriptHome.h"
#include "support/EventLog.h"
#include "support/RecordingLogger.h"
#include <ExternlMediaTransfer/ExternlMediaTransfer.h>
#include <ExternlMediaTransfer/TransferNumbers.h>
#include <KblUtils/RefPtr.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

using namespace KBL;
using testing::ElementsAre;

namespace {
RefPtr<IExternlMediaTransfer> makeTransfer(int platform) {
  return adoptRef(createEMTUpTransfer(platform));
}

TEST(ScriptedTransfer, CommandsReachTheScript) {
  const auto home = loadedHome(
      recorderAnswering("'GetLoginURL': 'https://login', 'VerifyRedirectURL': 2, 'SetAccessToken': 0, "
                        "'GetLastError': 'why', 'GetAccessToken': 'error'"));
  const auto transfer = makeTransfer(2);
  (void)runPython("import sys\nsys.modules['pythonrt'].calls.clear()");
  std::vector<char> text(CAuthNUploadObj::loginUrlRoom);
  hostShareRecord share{};
  hostTransferRecord record{};
  Account account;
  EXPECT_EQ(transfer->Command(KBL::commandSetAppBrand, 0LL), 0);
  EXPECT_EQ(transfer->Command(KBL::commandSetAppBrand, 7LL), 0);
  EXPECT_EQ(transfer->Command(KBL::commandSetApp, "id", "secret", "https://back"), 0);
  EXPECT_EQ(transfer->Query(KBL::queryLoginUrl, text.data()), 0);
  EXPECT_STREQ(text.data(), "https://login");
  EXPECT_EQ(transfer->Command(KBL::commandVerifyRedirectUrl, "https://back?code=1", text.data()), 1);
  EXPECT_STREQ(text.data(), "why");
  EXPECT_EQ(transfer->Command(KBL::commandSetAccessToken, "token", text.data()), 1);
  EXPECT_EQ(transfer->Query(KBL::queryUserInfo, account.record()), 1);
  EXPECT_EQ(transfer->Command(KBL::commandPushMessage, &share), 0);
  EXPECT_EQ(transfer->Command(KBL::queryLoginUrl, text.data()), 5);
  EXPECT_EQ(transfer->Start(), 2);
  EXPECT_EQ(transfer->Command(KBL::commandSetRecord, &record), 0);
  EXPECT_EQ(transfer->Start(), 0);
  EXPECT_EQ(transfer->Stop(), 0);
  EXPECT_EQ(transfer->Query(KBL::queryLogout), 0);
  EXPECT_EQ(pythonValue("[call[0] for call in rt.calls]"),
            "['SetBrand', 'SetAppKey', 'SetAppSecret', 'SetRedirectURL', 'GetLoginURL', 'VerifyRedirectURL', "
            "'GetLastError', 'SetAccessToken', 'GetLastError', 'GetAccessToken', 'ShareLink', 'StartUpload', "
            "'StopUpload', 'Logout']");
  CPythonRunTime::teardown();
}

TEST(ScriptedTransfer, ASecondRecordReplacesTheFirst) {
  const auto home = loadedHome(recorderWith());
  const auto transfer = makeTransfer(0);
  hostTransferRecord record{};
  std::strcpy(record.title, "first");
  EXPECT_EQ(transfer->Command(KBL::commandSetRecord, &record), 0);
  EXPECT_EQ(transfer->Start(), 0);
  std::strcpy(record.title, "second");
  EXPECT_EQ(transfer->Command(KBL::commandSetRecord, &record), 0);
  EXPECT_EQ(pythonValue("[call[2] for call in rt.calls if call[0] == 'StartUpload']"), "['first']");
  EXPECT_EQ(transfer->Start(), 0);
  EXPECT_EQ(pythonValue("[call[2] for call in rt.calls if call[0] == 'StartUpload']"), "['first', 'second']");
  CPythonRunTime::teardown();
}

TEST(ScriptedTransfer, ItsEndStopsTheUpload) {
  const auto home = loadedHome(recorderWith());
  makeTransfer(0);
  EXPECT_EQ(pythonValue("rt.calls[-1]"), "('StopUpload',)");
  CPythonRunTime::teardown();
}

TEST(ScriptedTransfer, AfterTheTeardownItAnswersAsAroundNothing) {
  const auto home = loadedHome(recorderAnswering("'GetLoginURL': 'https://login'"));
  auto transfer = makeTransfer(0);
  CPythonRunTime::teardown();
  std::vector<char> text(CAuthNUploadObj::loginUrlRoom);
  hostTransferRecord record{};
  EXPECT_EQ(transfer->Query(KBL::queryLoginUrl, text.data()), 2);
  EXPECT_EQ(transfer->Command(KBL::commandSetRecord, &record), 0);
  EXPECT_EQ(transfer->Start(), 0);
  EXPECT_EQ(transfer->Stop(), 0);
  transfer = {};
  const auto later = makeTransfer(0);
  EXPECT_EQ(later->Query(KBL::queryLoginUrl, text.data()), 3);
}

TEST(ScriptedTransfer, EventsReachTheHostWithItsContextAndTheTransfer) {
  const auto home = loadedHome(scriptWith(R"(
    def StartUpload(self, *fields):
        for code, text in ((1, "42"), (1, "soon"), (2, "https://v"), (3, "7,x"), (4, "t"), (99, "d"), (5, "x")):
            self.report(code, text)
)"));
  const auto transfer = makeTransfer(0);
  EventLog heard;
  const TransferCallback callback = EventLog::record;
  hostTransferRecord record{};
  EXPECT_EQ(transfer->Command(KBL::commandSetCallback, callback), 0);
  EXPECT_EQ(transfer->Command(KBL::commandSetContext, &heard), 0);
  EXPECT_EQ(transfer->Command(KBL::commandSetRecord, &record), 0);
  const ScopedRecordingLogger log;
  EXPECT_EQ(transfer->Start(), 0);
  auto* const from = transfer.get();
  EXPECT_THAT(heard.events(),
              ElementsAre(UploadEvent{from, 7, 42, "(null)"}, UploadEvent{from, 7, 0, "(null)"},
                          UploadEvent{from, 8, 0, "https://v"}, UploadEvent{from, 12, 12, "7,x"},
                          UploadEvent{from, 9, 0, "t"}));
  EXPECT_TRUE(log->hasLine("[AuthNUpload][py] debug:d"));
  CPythonRunTime::teardown();
}
}  // namespace
