#include "support/TemporaryDirectory.h"
#include <BsCloudConfig/BsCloudConfig.h>

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <map>
#include <string>
#include <thread>
#include <vector>

using KBL::clearCloudConfig;
using KBL::loadCloudConfig;
using KBL::setCloudConfig;
using KBL::urlBufferSize;

namespace {

class CloudConfig : public testing::Test {
 protected:
  void SetUp() override { clearCloudConfig(); }
  void TearDown() override { clearCloudConfig(); }

  const TemporaryDirectory directory_;
};

/// What the library reads for a key; the caller's buffer is longer here, to see that its rest stays
/// untouched.
std::string urlOf(const char* key) {
  std::array<char, urlBufferSize + 16> buffer{};
  std::fill(buffer.begin() + 1, buffer.end(), '#');
  KBL::IBsCloudConfigManager* const manager = getBsCloudConfigManager();
  KBL::IBsUrlConfig* const urls = manager == nullptr ? nullptr : manager->urlConfig();
  if (urls == nullptr) return "no configuration";
  urls->urlForKey(key, buffer.data(), 0);
  EXPECT_EQ(std::string(buffer.data() + urlBufferSize, 16), std::string(16, '#'));
  return buffer.data();
}

void expectContains(const std::string& text, const std::string& part) {
  EXPECT_NE(text.find(part), std::string::npos) << "\"" << text << "\" lacks \"" << part << "\"";
}

}  // namespace

TEST_F(CloudConfig, ManagerIsNullUntilSomethingIsSet) {
  EXPECT_EQ(getBsCloudConfigManager(), nullptr);

  setCloudConfig({});
  EXPECT_NE(getBsCloudConfigManager(), nullptr);

  clearCloudConfig();
  EXPECT_EQ(getBsCloudConfigManager(), nullptr);
}

TEST_F(CloudConfig, ManagerThatWasTakenAwayHasNoUrls) {
  setCloudConfig({{"one", "https://one"}});
  KBL::IBsCloudConfigManager* const manager = getBsCloudConfigManager();
  KBL::IBsUrlConfig* const urls = manager->urlConfig();
  clearCloudConfig();
  char buffer[urlBufferSize] = {};

  EXPECT_EQ(manager->urlConfig(), nullptr);
  urls->urlForKey("one", buffer, 0);

  EXPECT_STREQ(buffer, "");
}

TEST_F(CloudConfig, AddressIsWrittenForItsKey) {
  setCloudConfig({{"one", "https://one"}, {"two", "https://two?x=1"}});

  EXPECT_EQ(urlOf("one"), "https://one");
  EXPECT_EQ(urlOf("two"), "https://two?x=1");
}

TEST_F(CloudConfig, SettingReplacesAllFormerAddresses) {
  setCloudConfig({{"one", "https://one"}});
  setCloudConfig({{"two", "https://two"}});

  EXPECT_EQ(urlOf("one"), "");
  EXPECT_EQ(urlOf("two"), "https://two");
}

TEST_F(CloudConfig, AbsentKeysAndNullArgumentsWriteNothing) {
  setCloudConfig({{"one", "https://one"}});
  std::array<char, urlBufferSize> buffer;
  buffer.fill('#');
  KBL::IBsUrlConfig* const urls = getBsCloudConfigManager()->urlConfig();

  urls->urlForKey("absent", buffer.data(), 0);
  urls->urlForKey(nullptr, buffer.data(), 0);
  urls->urlForKey("one", nullptr, 0);

  EXPECT_EQ(std::string(buffer.begin(), buffer.end()), std::string(urlBufferSize, '#'));
}

TEST_F(CloudConfig, NothingIsWrittenBeyondTheBuffer) {
  const std::string longest(urlBufferSize - 1, 'x');
  setCloudConfig({{"longest", longest}, {"longer", longest + "x"}, {"huge", std::string(100'000, 'x')}});

  EXPECT_EQ(urlOf("longest"), longest);
  EXPECT_EQ(urlOf("longer"), "");
  EXPECT_EQ(urlOf("huge"), "");
}

TEST_F(CloudConfig, FileIsAnObjectFromKeyToAddress) {
  const std::string path = directory_.write(
      "K\xC3\xA4se \xE6\xB5\x8B.json", R"({ "one": "https://one", "two": "", "\u6d4b": "https://\u6d4b" })");

  EXPECT_EQ(loadCloudConfig(path), "");

  EXPECT_EQ(urlOf("one"), "https://one");
  EXPECT_EQ(urlOf("two"), "");
  EXPECT_EQ(urlOf("\xE6\xB5\x8B"), "https://\xE6\xB5\x8B");
}

TEST_F(CloudConfig, BadFilesAreNamedExplainedAndChangeNothing) {
  setCloudConfig({{"one", "https://one"}});
  const std::string nested = std::string(100'000, '[') + std::string(100'000, ']');
  const std::string nestedObjects = [] {
    std::string text;
    for (int depth = 0; depth < 50'000; ++depth) text += R"({"a":)";
    return text;
  }();
  const std::vector<std::pair<std::string, std::string>> files = {
      {"", "is not valid JSON"},
      {"{", "is not valid JSON"},
      {"not json", "is not valid JSON"},
      {R"({"one":"a"} trailing)", "is not valid JSON"},
      {R"({"one":"a","one":"b"})", "is not valid JSON"},
      {R"({"one":"\ud800"})", "is not valid JSON"},
      {nested, "is not valid JSON"},
      {nestedObjects, "is not valid JSON"},
      {"\x80\x81\x82", "is not valid JSON"},
      {"[]", "must hold one JSON object"},
      {R"(["https://one"])", "must hold one JSON object"},
      {R"({"two":17})", "not a text, under the key \"two\""},
      {R"({"two":null})", "not a text, under the key \"two\""},
      {R"({"two":{"three":"https://x"}})", "not a text, under the key \"two\""},
      {R"({"two":["https://x"]})", "not a text, under the key \"two\""},
      {R"({"two":"a\u0000b"})", "not a text, under the key \"two\""},
      {R"({"two":")" + std::string(urlBufferSize, 'x') + "\"}",
       "more than 1023 bytes, under the key \"two\""},
      {std::string((1U << 20) + 1, ' '), "larger than 1 MiB"},
  };
  for (const auto& [contents, reason] : files) {
    const std::string path = directory_.write("config.json", contents);

    const std::string problem = loadCloudConfig(path);

    expectContains(problem, path);
    expectContains(problem, reason);
    EXPECT_EQ(urlOf("one"), "https://one");
  }
}

TEST_F(CloudConfig, MissingFilesAndDirectoriesCannotBeOpened) {
  expectContains(loadCloudConfig(directory_.file("missing.json")), "cannot be opened");
  expectContains(loadCloudConfig(directory_.file("")), "cannot be opened");
  expectContains(loadCloudConfig(""), "cannot be opened");
  EXPECT_EQ(getBsCloudConfigManager(), nullptr);
}

TEST_F(CloudConfig, IsReadWhileAnotherThreadReplacesIt) {
  const std::string first = "https://" + std::string(1000, 'a');
  const std::string second = "https://" + std::string(1000, 'b');
  setCloudConfig({{"one", first}});
  std::atomic<bool> done = false;
  std::atomic<int> torn = 0;
  std::vector<std::thread> readers;
  for (int reader = 0; reader < 3; ++reader) {
    readers.emplace_back([&] {
      while (!done) {
        const std::string url = urlOf("one");
        if (url != first && url != second && !url.empty() && url != "no configuration") ++torn;
      }
    });
  }
  for (int round = 0; round < 500; ++round) {
    setCloudConfig({{"one", round % 2 == 0 ? second : first}});
    if (round % 50 == 0) clearCloudConfig();
  }
  done = true;
  for (std::thread& reader : readers) reader.join();

  EXPECT_EQ(torn, 0);
}
