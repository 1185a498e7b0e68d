// Signatures beside those of the system's Python and its OAuth library.
#include "media_tasks/FlickrUrl.h"
#include "support/ChildProcess.h"
#include "support/Seed.h"
#include "support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>

using KBL::FlickrCredentials;
using KBL::flickrPageUrl;

namespace {

constexpr const char* host = "https://rest.example";

std::string parameterOf(const std::string& url, const std::string& name) {
  const std::size_t place = url.find(name + "=");
  if (place == std::string::npos) return "missing";
  const std::size_t begin = place + name.size() + 1;
  return url.substr(begin, url.find('&', begin) - begin);
}

std::string randomName(std::mt19937_64& generator) {
  constexpr char alphabet[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-._~";
  std::uniform_int_distribution<std::size_t> character(0, sizeof(alphabet) - 2);
  std::string text(1 + generator() % 40, '-');
  for (char& place : text) place = alphabet[character(generator)];
  return text;
}

}  // namespace

TEST(FlickrOauthUrl, IsSignedAsAnIndependentLibrarySigns) {
  auto generator = seededGenerator();
  const TemporaryDirectory directory;
  std::ostringstream questions;
  std::ostringstream signatures;
  for (int round = 0; round < 20; ++round) {
    const std::string key = randomName(generator);
    const std::string secret = randomName(generator);
    const std::string token = randomName(generator);
    const std::string tokenSecret = randomName(generator);
    const int page = static_cast<int>(generator() % 1000);
    const std::uint64_t now = generator() % 4'000'000'000'000;
    const FlickrCredentials credentials(key, secret, std::string(token).append("|").append(tokenSecret));
    questions << key << ' ' << secret << ' ' << token << ' ' << tokenSecret << ' ' << page << ' ' << now
              << '\n';
    signatures << parameterOf(flickrPageUrl(credentials, host, page, 50, now), "oauth_signature") << '\n';
  }
  const std::string input = directory.write("questions", questions.str());
  ChildProcess signer({KBL_TEST_PYTHON, KBL_TEST_SOURCE_DIR "/flickr_signatures.py", host, input},
                      directory.file("signatures"));
  ASSERT_EQ(signer.wait(), 0) << directory.read("signatures");
  EXPECT_EQ(directory.read("signatures"), signatures.str());
}
