// What an upload costs in memory, in a process of its own.
#include "transfer/UploadFixture.h"

#include <cstdlib>
#include <filesystem>
#include <iostream>

namespace {
class UploadMemory : public UploadFixture {
 protected:
  UploadMemory() : UploadFixture(tiktok) {}

  /// The most memory, in KiB, of a program that uploads a file of that size.
  long peakOf(std::uint64_t size) {
    const std::string config = files_.write("cloud.json", sandbox_.cloudConfigJson());
    const std::string output = files_.file("peak.txt");
    const std::string cache = files_.file("cache" + std::to_string(size));
    std::filesystem::create_directories(cache);
    std::string command = MEASURED_HOST;
    for (const std::string& argument :
         {config, cache, newToken(), sandbox_.users().front().openId, makeSparseFile(size)}) {
      command += " \"" + argument + "\"";
    }
    // NOLINTNEXTLINE(cert-env33-c): the program is ours, and its arguments are the test's own
    EXPECT_EQ(std::system((command + " > \"" + output + "\"").c_str()), 0);
    return std::atol(files_.read("peak.txt").c_str());
  }
};

TEST_F(UploadMemory, DoesNotGrowWithTheFile) {
  const long small = peakOf(1U << 20);
  const long large = peakOf(52428799);
  std::cout << "peak of 1 MiB: " << small << " KiB, of 50 MiB: " << large << " KiB\n";
  ASSERT_GT(small, 0);
  EXPECT_LT(large - small, 4 * 1024);
  EXPECT_EQ(sandbox_.uploads().at(1).receivedSize, 52428799U);
}
}  // namespace
