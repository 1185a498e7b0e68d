// Scripts when memory runs out, at each allocation of a call in turn: the call fails as any other, nothing
// leaves the library, and the next call succeeds.
#include "scripting/AuthNUploadObj.h"
#include "scripting/HostAccount.h"
#include "scripting/python/PythonCall.h"
#include "scripting/python/PythonRunTime.h"
#include "scripting/python/ScriptHome.h"
#include "support/FailingAllocation.h"
#include "support/FakeManager.h"
#include "support/RecordingLogger.h"
#include <ExternlMediaTransfer/ExternlMediaTransfer.h>
#include <ExternlMediaTransfer/TransferNumbers.h>
#include <KblUtils/RefPtr.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <vector>

using namespace KBL;

namespace {

constexpr int moreThanAnyCallNeeds = 1000;

/// Texts too long to be kept without memory.
const std::string longAnswers = recorderWith(
    "{'GetLoginURL': 'u' * 100, 'VerifyRedirectURL': 2, 'SetAccessToken': 1, 'GetLastError': 'e' * 100, "
    "'GetAccessToken': 't' * 100, 'GetAppKey': 'k' * 100, 'GetAppSecret': 's' * 100, "
    "'GetUserName': 'n' * 90, 'GetVideoCategories': 'c' * 100, 'GetVideoHD': 1, 'GetVideoSD': 1, "
    "'GetLimitSpace': 1}");

/// Runs `call` short of memory until it needs no allocation that fails; how many failed. Each that failed has
/// result 1, and the same call with memory `expected`.
int countFailures(std::int32_t expected, const std::function<std::int32_t()>& call) {
  for (int successes = 0; successes < moreThanAnyCallNeeds; ++successes) {
    std::int32_t result = 0;
    bool failed = false;
    {
      const ScopedFailingAllocation shortage(successes);
      result = call();
      failed = ScopedFailingAllocation::hasFailed();
    }
    EXPECT_EQ(result, failed ? 1 : expected) << "allocation " << successes;
    EXPECT_EQ(call(), expected) << "allocation " << successes;
    if (!failed) return successes;
  }
  return moreThanAnyCallNeeds;
}

TEST(ScriptMemory, CallsThatRunOutOfItGive1AndLeaveTheTransferUsable) {
  const auto home = loadedHome(longAnswers);
  const auto transfer = adoptRef(createEMTUpTransfer(KBL::transferFacebook));
  std::vector<char> text(CAuthNUploadObj::loginUrlRoom);
  Account account;
  hostShareRecord share{};
  hostTransferRecord record{};
  std::memset(share.first, 'f', sizeof(share.first));
  std::memset(record.title, 't', sizeof(record.title));
  EXPECT_GE(countFailures(0, [&] { return transfer->Command(KBL::commandSetRecord, &record); }), 1);
  EXPECT_GE(countFailures(0, [&] { return transfer->Query(KBL::queryLoginUrl, text.data()); }), 1);
  EXPECT_GE(
      countFailures(1, [&] { return transfer->Command(KBL::commandVerifyRedirectUrl, "url", text.data()); }),
      1);
  EXPECT_GE(
      countFailures(0, [&] { return transfer->Command(KBL::commandSetAccessToken, "token", text.data()); }),
      1);
  EXPECT_GE(countFailures(0, [&] { return transfer->Query(KBL::queryUserInfo, account.record()); }), 5);
  EXPECT_GE(countFailures(0, [&] { return transfer->Command(KBL::commandPushMessage, &share); }), 1);
  EXPECT_GE(countFailures(0, [&] { return transfer->Start(); }), 1);
  CPythonRunTime::teardown();
}

TEST(ScriptMemory, ATransferThatCannotBeMadeIsNull) {
  const auto home = loadedHome(longAnswers);
  int failures = 0;
  for (; failures < moreThanAnyCallNeeds; ++failures) {
    IExternlMediaTransfer* transfer = nullptr;
    {
      const ScopedFailingAllocation shortage(failures);
      transfer = createEMTUpTransfer(KBL::transferFacebook);
    }
    if (transfer != nullptr) {
      EXPECT_EQ(transfer->Release(), 0);
      break;
    }
    EXPECT_TRUE(ScopedFailingAllocation::hasFailed());
  }
  EXPECT_GE(failures, 2);
  EXPECT_LT(failures, moreThanAnyCallNeeds);
  CPythonRunTime::teardown();
}

/// Sets up short of memory until that needs no allocation that fails; how many setups were refused. Each that
/// was refused has done nothing, and each that was carried out lacks a line of the log at most.
int countRefusedSetups(const ScriptHome& home) {
  int refused = 0;
  for (int successes = 0; successes < moreThanAnyCallNeeds; ++successes) {
    std::int32_t result = 0;
    bool failed = false;
    {
      const ScopedFailingAllocation shortage(successes);
      result = setupTransferEnv(home.path().c_str(), 0);
      failed = ScopedFailingAllocation::hasFailed();
    }
    EXPECT_EQ(result, PythonGate::instance().running() != nullptr ? 0 : 1) << "allocation " << successes;
    if (!failed) return refused;
    if (result == 1) ++refused;
    EXPECT_EQ(teardownTransferEnv(), 0);
    EXPECT_EQ(PythonGate::instance().running(), nullptr);
  }
  return moreThanAnyCallNeeds;
}

TEST(ScriptMemory, ASetupThatRunsOutOfItGives1AndCanBeRepeated) {
  const ScriptHome home(longAnswers);
  setenv("MEDIATRANSFER_PYTHON", testedPython().library.c_str(), 1);
  // The first ones look for an interpreter, those behind the one that has found it start it alone.
  EXPECT_GE(countRefusedSetups(home), 5);
  EXPECT_EQ(teardownTransferEnv(), 0);
  const int refused = countRefusedSetups(home);
  EXPECT_GE(refused, 4);
  EXPECT_LT(refused, moreThanAnyCallNeeds);
  EXPECT_EQ(CPythonRunTime::getEnvironment()->CreateAuInstance(0)->GetLoginURL(), std::string(100, 'u'));
  EXPECT_EQ(teardownTransferEnv(), 0);
}

TEST(ScriptMemory, TheEndOfAnUploadObjectGoesOnWithoutIt) {
  const InstalledManager manager(ema_youtube);
  const ScopedRecordingLogger log;
  hostTransferRecord record{};
  int failures = 0;
  for (; failures < moreThanAnyCallNeeds; ++failures) {
    auto object = std::make_unique<CAuthNUploadObj>();
    EXPECT_EQ(object->SetPlatform(1), 0);
    EXPECT_EQ(object->StartUpload(&record), 0);
    const ScopedFailingAllocation shortage(failures);
    object.reset();
    if (!ScopedFailingAllocation::hasFailed()) break;
  }
  EXPECT_GE(failures, 1);
  EXPECT_LT(failures, moreThanAnyCallNeeds);
}
}  // namespace
