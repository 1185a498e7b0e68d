// The system's data protection, and its folder for the user's data.
#include "support/TemporaryDirectory.h"
#include <BsNet/cipher.h>
#include <KblUtils/Path.h>
#include <KblUtils/Process.h>

#include <gtest/gtest.h>
#include <windows.h>

#include <chrono>
#include <filesystem>
#include <string>
#include <thread>

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

TEST(KeyStore, DamagedKeyThatIsReadForAMomentIsPutAsideAllTheSame) {
  const TemporaryDirectory place;
  (void)keyIn(place.file("keys"));
  place.write("keys/cipher.key", "short");
  const HANDLE reader =
      CreateFileW((place.path() / "keys" / "cipher.key").c_str(), GENERIC_READ,
                  FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
  ASSERT_NE(reader, INVALID_HANDLE_VALUE);
  const std::jthread leaving([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    CloseHandle(reader);
  });

  EXPECT_EQ(keyIn(place.file("keys")).size(), 64U);
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
