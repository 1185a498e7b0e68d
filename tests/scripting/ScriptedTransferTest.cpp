// Transfers whose platform a script serves, through the exports.
#include "boundary/ExternlMediaTransfer.h"
#include "foundation/object/RefPtr.h"
#include "scripting/AuthNUploadObj.h"
#include "scripting/HostAccount.h"
#include "scripting/PythonRunTime.h"
#include "scripting/ScriptHome.h"
#include "support/RecordingLogger.h"

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
  EXPECT_EQ(transfer->Command(8, 0LL), 0);
  EXPECT_EQ(transfer->Command(8, 7LL), 0);
  EXPECT_EQ(transfer->Command(9, "id", "secret", "https://back"), 0);
  EXPECT_EQ(transfer->Query(3, text.data()), 0);
  EXPECT_STREQ(text.data(), "https://login");
  EXPECT_EQ(transfer->Command(5, "https://back?code=1", text.data()), 1);
  EXPECT_STREQ(text.data(), "why");
  EXPECT_EQ(transfer->Command(6, "token", text.data()), 1);
  EXPECT_EQ(transfer->Query(7, account.record()), 1);
  EXPECT_EQ(transfer->Command(2, &share), 0);
  EXPECT_EQ(transfer->Command(3, text.data()), 5);
  EXPECT_EQ(transfer->Start(), 2);
  EXPECT_EQ(transfer->Command(0, &record), 0);
  EXPECT_EQ(transfer->Start(), 0);
  EXPECT_EQ(transfer->Stop(), 0);
  EXPECT_EQ(transfer->Query(4), 0);
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
  EXPECT_EQ(transfer->Command(0, &record), 0);
  EXPECT_EQ(transfer->Start(), 0);
  std::strcpy(record.title, "second");
  EXPECT_EQ(transfer->Command(0, &record), 0);
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
  EXPECT_EQ(transfer->Query(3, text.data()), 2);
  EXPECT_EQ(transfer->Command(0, &record), 0);
  EXPECT_EQ(transfer->Start(), 0);
  EXPECT_EQ(transfer->Stop(), 0);
  transfer = {};
  const auto later = makeTransfer(0);
  EXPECT_EQ(later->Query(3, text.data()), 3);
}

TEST(ScriptedTransfer, EventsReachTheHostWithItsContextAndTheTransfer) {
  struct Heard {
    void* context;
    IExternlMediaTransfer* transfer;
    int event;
    int value;
    std::string text;
  };
  static std::vector<Heard> heard;
  const auto home = loadedHome(scriptWith(R"(
    def StartUpload(self, *fields):
        for code, text in ((1, "42"), (1, "soon"), (2, "https://v"), (3, "7,x"), (4, "t"), (99, "d"), (5, "x")):
            self.report(code, text)
)"));
  const auto transfer = makeTransfer(0);
  int context = 0;
  const TransferCallback callback = [](void* of, IExternlMediaTransfer* from, int event, int value,
                                       const char* text) {
    heard.push_back({of, from, event, value, text == nullptr ? "(null)" : text});
    return 0;
  };
  hostTransferRecord record{};
  EXPECT_EQ(transfer->Command(1, callback), 0);
  EXPECT_EQ(transfer->Command(15, &context), 0);
  EXPECT_EQ(transfer->Command(0, &record), 0);
  const ScopedRecordingLogger log;
  EXPECT_EQ(transfer->Start(), 0);
  std::vector<std::string> events;
  for (const Heard& one : heard) {
    EXPECT_EQ(one.context, &context);
    EXPECT_EQ(one.transfer, transfer.get());
    events.push_back(std::to_string(one.event) + " " + std::to_string(one.value) + " " + one.text);
  }
  EXPECT_THAT(events, ElementsAre("7 42 (null)", "7 0 (null)", "8 0 https://v", "12 12 7,x", "9 0 t"));
  EXPECT_TRUE(log->hasLine("[AuthNUpload][py] debug:d"));
  CPythonRunTime::teardown();
}
}  // namespace
