#include "support/RecordingLogger.h"
#include <ExternlMediaTransfer/ExternlMediaTransfer.h>

#include <gtest/gtest.h>

#include <climits>
#include <cstdlib>
#include <set>
#include <string>
#include <thread>
#include <vector>

using namespace KBL;

namespace {
class Exports : public testing::Test {
 protected:
  /// The instance number in a manager's log tag.
  int instanceNumber(IBsExternlMediaAuthorize* manager) {
    logger_->clear();
    manager->cancelLogin();
    const auto lines = logger_->linesWith(", to cancelLogin");
    if (lines.size() != 1U) return -1;
    const std::string& text = lines[0].text;
    return std::atoi(text.c_str() + text.find('.') + 1);
  }

 private:
  ScopedRecordingLogger logger_;
};
}  // namespace

TEST_F(Exports, TwoCallsForOnePlatformGiveOneManagerWithOneReference) {
  auto* const manager = getOrCreateExternlMediaAuthorize(ema_youtube);
  ASSERT_NE(manager, nullptr);
  EXPECT_EQ(getOrCreateExternlMediaAuthorize(ema_youtube), manager);
  EXPECT_EQ(getExternlMediaAuthorize(ema_youtube), manager);
  EXPECT_EQ(manager->AddRef(), 2);
  EXPECT_EQ(manager->Release(), 1);
  EXPECT_EQ(manager->Release(), 0);
}

TEST_F(Exports, AfterTheLastReleaseThereIsNoneAndTheNextHasAHigherNumber) {
  auto* manager = getOrCreateExternlMediaAuthorize(ema_douyin);
  const int first = instanceNumber(manager);
  manager->Release();
  EXPECT_EQ(getExternlMediaAuthorize(ema_douyin), nullptr);
  manager = getOrCreateExternlMediaAuthorize(ema_douyin);
  EXPECT_EQ(instanceNumber(manager), first + 1);
  manager->Release();
}

TEST_F(Exports, ManagersOfTwoPlatformsAreNumberedInTheOrderOfTheirMaking) {
  auto* const first = getOrCreateExternlMediaAuthorize(ema_tiktok);
  auto* const second = getOrCreateExternlMediaAuthorize(ema_youtube);
  EXPECT_NE(first, second);
  EXPECT_EQ(instanceNumber(second), instanceNumber(first) + 1);
  EXPECT_EQ(first->platform(), ema_tiktok);
  EXPECT_EQ(second->platform(), ema_youtube);
  first->Release();
  second->Release();
}

TEST_F(Exports, EveryUsablePlatformHasAManager) {
  for (const int platform : {0, 1, 2, 3}) {
    auto* const manager = getOrCreateExternlMediaAuthorize(platform);
    ASSERT_NE(manager, nullptr);
    EXPECT_EQ(manager->platform(), platform);
    manager->Release();
  }
}

TEST_F(Exports, PlatformsOutsideTheTableHaveNone) {
  for (const int platform : {-1, 4, 5, INT_MAX, INT_MIN}) {
    EXPECT_EQ(getOrCreateExternlMediaAuthorize(platform), nullptr);
    EXPECT_EQ(getExternlMediaAuthorize(platform), nullptr);
  }
}

TEST_F(Exports, ManagersAnswerTheirNameToTheCastByName) {
  auto* const manager = getOrCreateExternlMediaAuthorize(ema_youtube);
  EXPECT_EQ(manager->QueryInterfaceByName("IBsExternlMediaAuthorize"), manager);
  EXPECT_EQ(manager->QueryInterfaceByName("nothing"), nullptr);
  manager->Release();
}

TEST_F(Exports, ThreadsThatAskAtOnceGetOneManager) {
  std::vector<IBsExternlMediaAuthorize*> found(8);
  std::vector<std::thread> threads;
  for (auto& place : found) {
    threads.emplace_back([&place] { place = getOrCreateExternlMediaAuthorize(ema_vimeo); });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(std::set<IBsExternlMediaAuthorize*>(found.begin(), found.end()).size(), 1U);
  EXPECT_EQ(found[0]->Release(), 0);
}

TEST_F(Exports, RecordsAreMadeForTheirSevenTypesOnly) {
  for (int type = 400; type <= 406; ++type) {
    auto* const record = createExternlMediaAuthInfoObject(type);
    ASSERT_NE(record, nullptr);
    EXPECT_EQ(record->infoType(), type);
    EXPECT_EQ(record->Release(), 0);
  }
  for (const int type : {399, 407, 0, -1, INT_MAX, INT_MIN}) {
    EXPECT_EQ(createExternlMediaAuthInfoObject(type), nullptr);
  }
}

TEST_F(Exports, UploadTransfersComeWithOneReference) {
  for (int platform = 0; platform <= 7; ++platform) {
    auto* const transfer = createEMTUpTransfer(platform);
    ASSERT_NE(transfer, nullptr);
    EXPECT_EQ(transfer->QueryInterfaceByName("IExternlMediaTransfer"), transfer);
    EXPECT_EQ(transfer->Release(), 0);
  }
}

TEST_F(Exports, TheEnvironmentRefusesOnlyANullHome) {
  EXPECT_EQ(setupTransferEnv(nullptr, 0), 1);
  EXPECT_EQ(setupTransferEnv("", 0), 0);
  EXPECT_EQ(teardownTransferEnv(), 0);
  EXPECT_EQ(teardownTransferEnv(), 0);
}
