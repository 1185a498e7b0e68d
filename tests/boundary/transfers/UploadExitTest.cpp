// A process that returns from main right after a transfer, with the library's sleepers pending.
#include "boundary/transfers/UploadFixture.h"

#include <cstdlib>
#include <filesystem>

namespace {
class ExitingHost : public UploadFixture, public testing::WithParamInterface<const char*> {};

std::string quoted(const std::string& text) {
  return "\"" + text + "\"";
}

/// The command as the system's shell takes it: the one of Windows drops the outermost quotes.
std::string forShell(const std::string& command) {
#if defined(_WIN32)
  return quoted(command);
#else
  return command;
#endif
}

TEST_P(ExitingHost, EndsCleanly) {
  const std::string config = files_.write("cloud.json", sandbox_.cloudConfigJson());
  const std::string file = makeFile(3 * chunk);
  const std::string output = files_.file("output.txt");
  for (int round = 0; round < 4; ++round) {
    const std::string cache = files_.file("child" + std::to_string(round));
    std::filesystem::create_directories(cache);
    const std::string command = quoted(EXITING_HOST) + " " + quoted(config) + " " + quoted(cache) + " " +
                                quoted(newToken()) + " " + quoted(file) + " " + GetParam() + " > " +
                                quoted(output) + " 2>&1";
    const auto begin = std::chrono::steady_clock::now();
    // NOLINTNEXTLINE(cert-env33-c): the program is ours, and its arguments are the test's own
    EXPECT_EQ(std::system(forShell(command).c_str()), 0) << files_.read("output.txt");
    EXPECT_EQ(files_.read("output.txt"), "");
    EXPECT_LT(std::chrono::steady_clock::now() - begin, generousLimit);
  }
}

INSTANTIATE_TEST_SUITE_P(Ways, ExitingHost,
                         testing::Values("return", "releaseAndReturn", "whileItRuns",
                                         "exitInsideTheCallback"),
                         [](const auto& test) { return std::string(test.param); });
}  // namespace
