#include "host/Checkup.h"
#include "host/LoginFile.h"
#include "options/Failure.h"
#include "support/TemporaryDirectory.h"
#include <BsNet/cipher.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

namespace host {
namespace {

using testing::HasSubstr;

struct NoKeys : KBL::IKeyStore {
  std::vector<unsigned char> loadOrCreateKey() override { return {}; }
};

std::string troubleOf(const LoginFile& file) {
  try {
    file.requireWritable();
  } catch (const Failure& failure) {
    return failure.what();
  }
  return "none";
}

TEST(LoginFile, WithoutAUsableKeyNamesTheWayOut) {
  const TemporaryDirectory place;
  DataFolders folders;
  folders.cache = place.path().string();
  folders.key = place.file("keys");
  const LoginFile file(folders, "logins");
  KBL::setKeyStore(std::make_shared<NoKeys>());
  EXPECT_THAT(troubleOf(file), testing::AllOf(HasSubstr("the key in '" + folders.key + "'"),
                                              HasSubstr("unsealed"), HasSubstr("or move 'cipher.key' away")));

  KBL::setKeyStore(KBL::makeFileKeyStore(folders.key));
  EXPECT_EQ(troubleOf(file), "none");
  KBL::setKeyStore(nullptr);
}

/// What the program's checks say of the key beside a cache folder.
Check checkOfKeyIn(const TemporaryDirectory& place) {
  Options options;
  options.cacheDir = place.file("logins");
  const std::vector<Check> checks = checkStorage(options);
  return checks.size() == 2 ? checks[1] : Check{};
}

TEST(Checkup, AsksWhetherTheKeyServesAndLeavesIt) {
  const TemporaryDirectory place;
  std::filesystem::create_directory(place.file("logins"));
  ASSERT_EQ(KBL::makeFileKeyStore(place.file("logins.key"))->loadOrCreateKey().size(), 64U);
  const std::string key = place.read("logins.key/cipher.key");
  EXPECT_EQ(checkOfKeyIn(place).state, Check::State::ok);
  EXPECT_EQ(place.read("logins.key/cipher.key"), key);

  for (const std::string& damaged : {std::string("short"), std::string(65, 'k'), std::string(500, 'k')}) {
    place.write("logins.key/cipher.key", damaged);

    const Check check = checkOfKeyIn(place);

    EXPECT_EQ(check.state, Check::State::fault) << damaged;
    EXPECT_THAT(check.remedy, HasSubstr("move it away and sign in again"));
    EXPECT_EQ(place.read("logins.key/cipher.key"), damaged);
  }
}

}  // namespace
}  // namespace host
