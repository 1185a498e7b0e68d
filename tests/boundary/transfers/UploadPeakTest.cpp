// What an upload costs in memory, in a process of its own.
#include "boundary/transfers/UploadFixture.h"
#include "support/ChildProcess.h"

#include <cstdlib>
#include <filesystem>
#include <iostream>

namespace {
class UploadPeak : public UploadFixture {
 protected:
  UploadPeak() : UploadFixture(tiktok) {}

  /// The most memory, in KiB, of a program that uploads a file of that size.
  long peakOf(std::uint64_t size) {
    const std::string config = files_.write("cloud.json", sandbox_.cloudConfigJson());
    const std::string cache = files_.file("cache" + std::to_string(size));
    std::filesystem::create_directories(cache);
    ChildProcess program(
        {MEASURED_HOST, config, cache, newToken(), sandbox_.users().front().openId, makeSparseFile(size)});
    std::string peak;
    EXPECT_TRUE(program.readLine(peak));
    EXPECT_EQ(program.wait(), 0);
    return std::atol(peak.c_str());
  }
};

TEST_F(UploadPeak, DoesNotGrowWithTheFile) {
  const long small = peakOf(1U << 20);
  const long large = peakOf(52428799);
  std::cout << "peak of 1 MiB: " << small << " KiB, of 50 MiB: " << large << " KiB\n";
  ASSERT_GT(small, 0);
  EXPECT_LT(large - small, 4 * 1024);
  EXPECT_EQ(sandbox_.uploads().at(1).receivedSize, 52428799U);
}
}  // namespace
