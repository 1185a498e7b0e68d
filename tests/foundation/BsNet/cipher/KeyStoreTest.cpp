#include "foundation/BsNet/cipher/FileKeyStore.h"
#include "support/ChildProcess.h"
#include "support/RecordingLogger.h"
#include "support/TemporaryDirectory.h"
#include <BsNet/cipher.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace {

namespace fs = std::filesystem;

std::string keyIn(const std::string& directory) {
  const auto key = KBL::makeFileKeyStore(directory)->loadOrCreateKey();
  return {key.begin(), key.end()};
}

std::set<std::string> namesIn(const fs::path& directory) {
  std::set<std::string> names;
  for (const auto& entry : fs::directory_iterator(directory)) names.insert(entry.path().filename().string());
  return names;
}

TEST(KeyStore, MakesARandomKeyOnFirstUseAndKeepsIt) {
  const TemporaryDirectory place;
  const TemporaryDirectory other;

  const std::string key = keyIn(place.file("keys"));

  EXPECT_EQ(key.size(), 64U);
  EXPECT_EQ(keyIn(place.file("keys")), key);
  EXPECT_NE(keyIn(other.file("keys")), key);
  EXPECT_GT(std::set<char>(key.begin(), key.end()).size(), 16U);
}

TEST(KeyStore, LeavesNothingButTheKeyAndItsLock) {
  const TemporaryDirectory place;

  (void)keyIn(place.file("keys"));

  EXPECT_EQ(namesIn(place.file("keys")), (std::set<std::string>{"cipher.key", "cipher.key.lock"}));
}

TEST(KeyStore, DamagedKeyIsPutAsideAndReplaced) {
  const ScopedRecordingLogger logger;
  const TemporaryDirectory place;
  const std::string key = keyIn(place.file("keys"));
  place.write("keys/cipher.key", "short");

  const std::string fresh = keyIn(place.file("keys"));

  EXPECT_EQ(fresh.size(), 64U);
  EXPECT_NE(fresh, key);
  EXPECT_EQ(keyIn(place.file("keys")), fresh);
  std::set<std::string> names = namesIn(place.file("keys"));
  EXPECT_EQ(names.erase("cipher.key") + names.erase("cipher.key.lock"), 2U);
  ASSERT_EQ(names.size(), 1U);
  EXPECT_EQ(names.begin()->rfind("cipher.key.unusable.", 0), 0U);
  EXPECT_EQ(place.read("keys/" + *names.begin()), "short");
  const auto lines = logger->linesWith("key file unusable, put aside: ");
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_EQ(lines[0].severity, KBL::IBsLogger::severityError);
  EXPECT_NE(lines[0].text.find(*names.begin()), std::string::npos);
}

TEST(KeyStore, KeyThatTheSystemCannotUnsealNowIsLeftAlone) {
  const ScopedRecordingLogger logger;
  const TemporaryDirectory place;
  const std::string key = keyIn(place.file("keys"));
  KBL::FileKeyStore store(place.file("keys"), [](const std::string&) {
    return KBL::System::UnprotectedKey{KBL::System::UnprotectedKey::State::notNow, {}, "5"};
  });

  EXPECT_TRUE(store.loadOrCreateKey().empty());

  EXPECT_EQ(keyIn(place.file("keys")), key);
  EXPECT_EQ(namesIn(place.file("keys")), (std::set<std::string>{"cipher.key", "cipher.key.lock"}));
  EXPECT_EQ(logger->linesWith("key file cannot be unsealed now (5), move it away to begin anew: ").size(),
            1U);
}

TEST(KeyStore, TellsOfAKeyThatCannotBeUnsealedOnceAndNotWithEachUse) {
  const ScopedRecordingLogger logger;
  const TemporaryDirectory place;
  (void)keyIn(place.file("keys"));
  std::string reason = "5";
  KBL::FileKeyStore store(place.file("keys"), [&reason](const std::string&) {
    return KBL::System::UnprotectedKey{KBL::System::UnprotectedKey::State::notNow, {}, reason};
  });
  for (int use = 0; use < 3; ++use) (void)store.loadOrCreateKey();
  EXPECT_EQ(logger->linesWith("key file cannot be unsealed now").size(), 1U);

  reason = "6";
  for (int use = 0; use < 3; ++use) (void)store.loadOrCreateKey();

  EXPECT_EQ(logger->linesWith("key file cannot be unsealed now").size(), 2U);
}

TEST(KeyStore, KeysThatAreLostOneAfterTheOtherAreAllKept) {
  const TemporaryDirectory place;
  for (const char* const bytes : {"", "one", "two"}) {
    (void)keyIn(place.file("keys"));
    place.write("keys/cipher.key", bytes);
  }
  place.write("keys/cipher.key", std::string(100'000, 'x'));

  EXPECT_EQ(keyIn(place.file("keys")).size(), 64U);

  EXPECT_EQ(namesIn(place.file("keys")).size(), 2U + 3U);
}

TEST(KeyStore, WithoutALockADamagedKeyIsLeftAlone) {
  const ScopedRecordingLogger logger;
  const TemporaryDirectory place;
  fs::create_directories(place.file("keys/cipher.key.lock"));
  const std::string key = keyIn(place.file("keys"));
  EXPECT_EQ(key.size(), 64U);
  place.write("keys/cipher.key", "short");

  EXPECT_EQ(keyIn(place.file("keys")), "");

  EXPECT_EQ(place.read("keys/cipher.key"), "short");
  EXPECT_EQ(logger->linesWith("key file unusable, left alone without a lock: ").size(), 1U);
}

TEST(KeyStore, DirectoryThatCannotBeMadeGivesNoKey) {
  const TemporaryDirectory place;
  place.write("file", "");

  EXPECT_EQ(keyIn(place.file("file/keys")), "");
  EXPECT_EQ(keyIn(""), "");
}

TEST(KeyStore, KeyThatIsADirectoryGivesNoKeyAndStays) {
  const TemporaryDirectory place;
  fs::create_directories(place.file("keys/cipher.key"));

  EXPECT_EQ(keyIn(place.file("keys")), "");
  EXPECT_TRUE(fs::is_directory(place.file("keys/cipher.key")));
}

TEST(KeyStore, ThreadsThatMakeTheKeyAtOnceEndWithOne) {
  const TemporaryDirectory place;
  std::vector<std::string> keys(8);
  std::vector<std::thread> threads;
  for (std::string& key : keys) threads.emplace_back([&] { key = keyIn(place.file("keys")); });
  for (std::thread& thread : threads) thread.join();

  EXPECT_EQ(std::set<std::string>(keys.begin(), keys.end()).size(), 1U);
  EXPECT_EQ(keys[0].size(), 64U);
}

TEST(KeyStore, ProgramsThatMakeTheKeyAtOnceEndWithOne) {
  for (const bool startsDamaged : {false, true}) {
    const TemporaryDirectory place;
    if (startsDamaged) {
      (void)keyIn(place.file("keys"));
      place.write("keys/cipher.key", "damaged");
    }
    std::vector<std::unique_ptr<ChildProcess>> programs;
    std::string line;
    for (int i = 0; i < 6; ++i) {
      const std::vector<std::string> command{KBL_KEY_PROGRAM, place.file("keys"), place.file("begin")};
      programs.push_back(std::make_unique<ChildProcess>(command));
      ASSERT_TRUE(programs.back()->readLine(line));
    }

    place.write("begin", "");

    std::set<std::string> keys;
    for (const auto& program : programs) {
      ASSERT_TRUE(program->readLine(line));
      keys.insert(line.substr(0, line.rfind(' ') + 1));  // without the end that a system gives it
      EXPECT_EQ(program->wait(), 0);
    }
    std::string stored;
    for (const char byte : keyIn(place.file("keys"))) {
      stored += std::to_string(static_cast<unsigned char>(byte)) + ' ';
    }
    EXPECT_NE(stored, "");
    EXPECT_EQ(keys, std::set{stored});
  }
}

TEST(KeyStore, CipherUsesTheFileOfItsStore) {
  const TemporaryDirectory place;
  std::string sealed(16, '\0');
  KBL::setKeyStore(KBL::makeFileKeyStore(place.file("keys")));
  KBL::aes256Encrypt(std::string(16, 'x').data(), sealed.data(), 16);

  KBL::setKeyStore(KBL::makeFileKeyStore(place.file("keys")));
  std::string plain(16, '\0');
  KBL::aes256Decrypt(sealed.data(), plain.data(), 16);
  KBL::setKeyStore(nullptr);

  EXPECT_EQ(plain, std::string(16, 'x'));
}

}  // namespace
