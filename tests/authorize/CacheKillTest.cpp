// A process that is killed while it saves leaves the old list or the new one.

#include "authorize/CacheFile.h"
#include "support/ChildProcess.h"
#include "support/Seed.h"
#include "support/TemporaryDirectory.h"
#include <BsNet/cipher.h>

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

TEST(CacheKill, AKilledSaveLeavesAWholeListAndTheNextSaveWorks) {
  const TemporaryDirectory directory;
  KBL::setKeyStore(KBL::makeFileKeyStore(directory.file("keys")));
  const std::string path = KBL::cacheFilePath(directory.path().string(), KBL::ema_youtube);
  auto generator = seededGenerator();
  for (int round = 0; round < 12; ++round) {
    ChildProcess child({KBL_SAVING_HOST, directory.file("keys"), directory.path().string()});
    std::string saved;
    ASSERT_TRUE(child.readLine(saved));
    // The instant of the death is what varies.
    std::this_thread::sleep_for(std::chrono::microseconds(generator() % 20'000));
    child.kill();
    EXPECT_EQ(child.wait(), ChildProcess::killed);
    KBL::CacheEntries list;
    ASSERT_TRUE(KBL::loadCacheFile(path, list));
    ASSERT_EQ(list.size(), 20U);
    for (const auto& record : list) EXPECT_EQ(record->userNickName, list.front()->userNickName);
    ASSERT_TRUE(KBL::saveCacheFile(path, list));
  }
  KBL::setKeyStore(nullptr);
}
