// The system's data protection, and its folder for the user's data.
#include "support/TemporaryDirectory.h"
#include <BsNet/cipher.h>
#include <KblUtils/Path.h>
#include <KblUtils/Process.h>

#include <gtest/gtest.h>

#include <string>

namespace {

std::string keyIn(const std::string& directory) {
  const auto key = KBL::makeFileKeyStore(directory)->loadOrCreateKey();
  return {key.begin(), key.end()};
}

TEST(KeyStore, FileHoldsTheKeyUnderTheSystemsProtection) {
  const TemporaryDirectory place;

  const std::string key = keyIn(place.file("keys"));

  const std::string stored = place.read("keys/cipher.key");
  EXPECT_GT(stored.size(), key.size());
  EXPECT_EQ(stored.find(key), std::string::npos);
}

TEST(KeyStore, FolderMayHaveAnyName) {
  const TemporaryDirectory place;
  const std::string folder = place.file("Schl\u00FCssel \u9375");

  const std::string key = keyIn(folder);

  EXPECT_EQ(key.size(), 64U);
  EXPECT_EQ(keyIn(folder), key);
}

TEST(KeyStore, DefaultDirectoryIsInTheUsersLocalData) {
  const std::string local = KBL::Environment::variable("LOCALAPPDATA");

  EXPECT_EQ(KBL::PathUtil::normalizeSlash(KBL::Path(KBL::defaultKeyDirectory())).string(),
            KBL::PathUtil::normalizeSlash(KBL::Path(local)).string() + "/mediatransfer");
}

}  // namespace
