#include "host/DataFolders.h"
#include "support/TemporaryDirectory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

using host::dataFolders;
using host::knownProfiles;
using testing::ElementsAre;

TEST(DataFolders, OfAProfileLieApartFromAllOthers) {
  // With the letter of a drive where there are such.
  const std::string cache = std::filesystem::absolute("/some/cache").generic_string();
  const auto own = dataFolders(cache, "work", false);
  EXPECT_EQ(own.cache, cache + ".profiles/work");
  EXPECT_EQ(own.key, cache + ".profiles/work.key");
  EXPECT_EQ(own.sandboxState, cache + ".profiles/work.sandbox");
  EXPECT_EQ(dataFolders(cache, "work", true).cache, cache + ".profiles/work.sandbox/cache");
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
