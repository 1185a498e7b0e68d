// Upload transfers and records when memory runs out, at each allocation of a call in turn.
#include "support/FailingAllocation.h"
#include <BsNet/BsErrorInfo.h>
#include <BsNet/BsInfoReader.h>
#include <ExternlMediaTransfer/ExternlMediaKeys.h>
#include <ExternlMediaTransfer/ExternlMediaTransfer.h>
#include <ExternlMediaTransfer/HostRecords.h>
#include <ExternlMediaTransfer/TransferNumbers.h>
#include <KblUtils/CastByName.h>
#include <KblUtils/RefPtr.h>

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>

using namespace KBL;

namespace {

constexpr int moreThanAnyCallNeeds = 1000;

/// Runs the call with each of its allocations failing in turn. What it answers is `good`, or 1 where an
/// allocation failed. How many calls answered 1.
int failures(const std::function<std::int32_t()>& call, std::int32_t good) {
  int failed = 0;
  for (int successes = 0; successes < moreThanAnyCallNeeds; ++successes) {
    std::int32_t result = -1;
    bool wasShort = false;
    {
      const ScopedFailingAllocation shortage(successes);
      EXPECT_NO_THROW(result = call());
      wasShort = ScopedFailingAllocation::hasFailed();
    }
    EXPECT_TRUE(result == good || (wasShort && result == 1)) << result << " at allocation " << successes;
    if (!wasShort) return failed;
    if (result != good) ++failed;
  }
  ADD_FAILURE() << "it never had enough";
  return failed;
}

int ignore(void*, IExternlMediaTransfer*, int, int, const char*) {
  return 0;
}

const std::string longText(200, 'x');

class UploadMemory : public testing::Test {
 protected:
  RefPtr<IBsExternlMediaAuthorize> manager_ = adoptRef(getOrCreateExternlMediaAuthorize(ema_youtube));
  RefPtr<IExternlMediaTransfer> transfer_ = adoptRef(createEMTUpTransfer(KBL::transferYoutube));
  hostTransferRecord job_{};
};

}  // namespace

TEST_F(UploadMemory, Commands) {
  const TransferCallback function = ignore;
  char error[1024] = {};
  hostShareRecord share{};
  EXPECT_GE(failures([&] { return transfer_->Command(KBL::commandSetRecord, &job_); }, 0), 1);
  EXPECT_EQ(failures([&] { return transfer_->Command(KBL::commandSetCallback, function); }, 0), 0);
  EXPECT_EQ(
      failures([&] { return transfer_->Command(KBL::commandSetContext, static_cast<void*>(&job_)); }, 0), 0);
  failures([&] { return transfer_->Command(KBL::commandPushMessage, &share); }, 0);
  failures([&] { return transfer_->Command(KBL::commandVerifyRedirectUrl, longText.c_str(), error); }, 0);
  failures([&] { return transfer_->Command(KBL::commandSetAccessToken, longText.c_str(), error); }, 0);
  failures([&] { return transfer_->Command(KBL::commandSetAppBrand, 1LL); }, 0);
  failures(
      [&] {
        return transfer_->Command(KBL::commandSetApp, longText.c_str(), longText.c_str(), longText.c_str());
      },
      0);
}

TEST_F(UploadMemory, QueriesStartAndStop) {
  const auto account = std::make_unique<char[]>(sizeof(hostAccountRecord) + 4096);
  char url[8192] = {};
  void* context = nullptr;
  transfer_->Command(KBL::commandSetRecord, &job_);
  EXPECT_GE(failures([&] { return transfer_->Start(); }, 0), 10);
  EXPECT_EQ(failures([&] { return transfer_->Stop(); }, 0), 0);
  failures([&] { return transfer_->Query(KBL::queryLoginUrl, url); }, 0);
  failures([&] { return transfer_->Query(KBL::queryLogout); }, 1);
  failures([&] { return transfer_->Query(KBL::queryUserInfo, account.get()); }, 1);
  EXPECT_EQ(failures([&] { return transfer_->Query(KBL::queryContext, &context); }, 0), 0);
}

TEST_F(UploadMemory, TheLastReleaseSucceedsWithoutMemory) {
  for (int successes = 0; successes < moreThanAnyCallNeeds; ++successes) {
    transfer_->Command(KBL::commandSetRecord, &job_);
    transfer_->Start();
    int left = -1;
    bool wasShort = false;
    {
      const ScopedFailingAllocation shortage(successes);
      EXPECT_NO_THROW(left = transfer_.leak()->Release());
      wasShort = ScopedFailingAllocation::hasFailed();
    }
    EXPECT_EQ(left, 0);
    if (!wasShort) return;
    transfer_ = adoptRef(createEMTUpTransfer(KBL::transferYoutube));
  }
  ADD_FAILURE() << "it never had enough";
}

TEST(RecordMemory, EveryOperationOfEveryRecord) {
  for (int type = 400; type <= 406; ++type) {
    const RefPtr<IBsInfoReader> record = adoptRef(createExternlMediaAuthInfoObject(type));
    const RefPtr<IBsInfoReader> other = adoptRef(createExternlMediaAuthInfoObject(405));
    auto* const writable = queryInterface<BsBaseInfoRW>(record.get(), "BsBaseInfoRW");
    auto* const source = queryInterface<BsBaseInfoRW>(other.get(), "BsBaseInfoRW");
    source->setCharKeyConfig(ExternlMediaMixedCharKey::refreshToken, longText.c_str());
    const std::string key = "a key of more than some letters";
    EXPECT_GE(failures([&] { return writable->setCharKeyConfig(key.c_str(), longText.c_str()); }, 0), 1);
    EXPECT_GE(failures([&] { return writable->setIntKeyConfig("a number under a long key", 7); }, 0), 1);
    EXPECT_GE(failures([&] { return record->updataFrom(other.get()); }, 0), 1);
    EXPECT_GE(failures([&] { return writable->CopyInfo(other.get()); }, 0), 1);
    failures([&] { return record->charKeyConfig(ExternlMediaMixedCharKey::refreshToken) != nullptr ? 0 : 1; },
             0);
    failures([&] { return record->infoType() == type ? 0 : 1; }, 0);
    EXPECT_EQ(failures([&] { return record->intKeyConfig("a number under a long key") == 7 ? 0 : 1; }, 1), 0);
    EXPECT_EQ(failures([&] { return writable->reset(); }, 0), 0);
    EXPECT_STREQ(source->charKeyConfig(ExternlMediaMixedCharKey::refreshToken), longText.c_str());
  }
}

// A failure whose text finds no room must not read as a success.
TEST(RecordMemory, AnErrorKeepsItsCodeWithoutMemoryForItsText) {
  BsErrorInfo error;
  error.setError(0, "");
  {
    const ScopedFailingAllocation shortage(0);
    error.setError(-10004, longText.c_str());
    EXPECT_TRUE(ScopedFailingAllocation::hasFailed());
  }
  EXPECT_EQ(error.errorCode(), -10004);
}
