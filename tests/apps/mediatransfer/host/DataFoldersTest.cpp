#include "host/DataFolders.h"
#include "support/TemporaryDirectory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using host::dataFolders;
using host::knownProfiles;
using testing::ElementsAre;

TEST(DataFolders, OfAProfileLieApartFromAllOthers) {
  const auto own = dataFolders("/some/cache", "work", false);
  EXPECT_EQ(own.cache, "/some/cache.profiles/work");
  EXPECT_EQ(own.key, "/some/cache.profiles/work.key");
  EXPECT_EQ(own.sandboxState, "/some/cache.profiles/work.sandbox");
  EXPECT_EQ(dataFolders("/some/cache", "work", true).cache, "/some/cache.profiles/work.sandbox/cache");
}

TEST(DataFolders, KnowTheProfileWithoutANameAlways) {
  const TemporaryDirectory folder;
  EXPECT_THAT(knownProfiles((folder.path() / "cache").string()), ElementsAre(""));
}

TEST(DataFolders, KnowEachProfileOnce) {
  const TemporaryDirectory folder;
  for (const char* name : {"work", "work.key", "club.sandbox", "a"}) {
    std::filesystem::create_directories(folder.path() / "cache.profiles" / name);
  }
  EXPECT_THAT(knownProfiles((folder.path() / "cache").string()), ElementsAre("", "a", "club", "work"));
}
