#include "support/TemporaryDirectory.h"
#include <KblLogger/LogSinks.h>

#include <gtest/gtest.h>

#if defined(__linux__)
#include <fcntl.h>
#endif

#include <filesystem>
#include <regex>
#include <sstream>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

using KBL::IBsLogger;
using KBL::LogSettings;
using KBL::makeLogger;

namespace fs = std::filesystem;

namespace {

std::vector<std::string> linesOf(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

LogSettings fileSettings(const std::string& path) {
  LogSettings settings;
  settings.file = path;
  return settings;
}

}  // namespace

TEST(LogSinks, FileHoldsTimeSeverityPlaceFunctionAndText) {
  const TemporaryDirectory directory;
  const auto logger = makeLogger(fileSettings(directory.file("host.log")));
  ASSERT_NE(logger, nullptr);

  logger->write(IBsLogger::severityError, "a.cpp", 12, "KBL::A::f", "the text");
  logger->write(IBsLogger::severityWarning, "a.cpp", 13, "KBL::A::f", "second");

  const std::vector<std::string> lines = linesOf(directory.read("host.log"));
  ASSERT_EQ(lines.size(), 2U) << "each line is in the file at once";
  const std::regex form(
      R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3} error +\[\d+\] a\.cpp:12 KBL::A::f the text)");
  EXPECT_TRUE(std::regex_match(lines[0], form)) << lines[0];
  EXPECT_NE(lines[1].find("warning"), std::string::npos);
}

#if defined(__linux__)
TEST(LogSinks, ChildProcessesInheritNoFileOfTheLog) {
  const TemporaryDirectory directory;
  LogSettings settings = fileSettings(directory.file("host.log"));
  settings.maxFileBytes = 200;
  const auto logger = makeLogger(settings);
  ASSERT_NE(logger, nullptr);
  const auto inherited = [&] {
    std::vector<bool> ofTheLog;
    for (const auto& entry : fs::directory_iterator("/proc/self/fd")) {
      std::error_code gone;
      if (!fs::read_symlink(entry.path(), gone).string().starts_with(directory.file("host.log"))) continue;
      ofTheLog.push_back((::fcntl(std::stoi(entry.path().filename()), F_GETFD) & FD_CLOEXEC) == 0);
    }
    return ofTheLog;
  };

  EXPECT_EQ(inherited(), std::vector<bool>{false});
  for (int line = 0; line < 5; ++line) {
    logger->write(IBsLogger::severityError, "a.cpp", 1, "f", std::string(100, 'x'));
  }
  EXPECT_EQ(inherited(), std::vector<bool>{false}) << "behind a rotation";
}
#endif

TEST(LogSinks, SeveritiesAboveTheLimitAreDropped) {
  const TemporaryDirectory directory;
  LogSettings settings = fileSettings(directory.file("host.log"));
  settings.maxSeverity = IBsLogger::severityWarning;
  const auto logger = makeLogger(settings);
  ASSERT_NE(logger, nullptr);

  EXPECT_TRUE(logger->testSeverity(IBsLogger::severityError));
  EXPECT_TRUE(logger->testSeverity(IBsLogger::severityWarning));
  EXPECT_FALSE(logger->testSeverity(IBsLogger::severityInfo));
  logger->write(IBsLogger::severityInfo, "a.cpp", 1, "f", "dropped");
  logger->write(IBsLogger::severityError, "a.cpp", 1, "f", "kept");

  EXPECT_EQ(directory.read("host.log").find("dropped"), std::string::npos);
  EXPECT_NE(directory.read("host.log").find("kept"), std::string::npos);
}

TEST(LogSinks, SecretsAreMaskedOnTheirWayOut) {
  const TemporaryDirectory directory;
  const auto logger = makeLogger(fileSettings(directory.file("host.log")));
  ASSERT_NE(logger, nullptr);

  logger->write(IBsLogger::severityInfo, "a.cpp", 1, "f",
                "https://h?access_token=SECRET Bearer SECRET {\"code\":\"SECRET\"}");

  const std::string text = directory.read("host.log");
  EXPECT_EQ(text.find("SECRET"), std::string::npos);
  EXPECT_NE(text.find("https://h?access_token=*** Bearer *** {\"code\":\"***\"}"), std::string::npos);
}

TEST(LogSinks, TextsThatTheHostCallsSecretAreMasked) {
  const TemporaryDirectory directory;
  LogSettings settings = fileSettings(directory.file("host.log"));
  settings.secrets = {"hunter2", "abc", ""};
  const auto logger = makeLogger(settings);

  logger->write(IBsLogger::severityInfo, "a.cpp", 1, "f", "py_msg: hunter2, hunter2hunter2; abc stays");

  EXPECT_NE(directory.read("host.log").find("py_msg: ***, ******; abc stays"), std::string::npos);
}

TEST(LogSinks, OneLineStaysOneLineWithoutControlCharacters) {
  const TemporaryDirectory directory;
  const auto logger = makeLogger(fileSettings(directory.file("host.log")));
  ASSERT_NE(logger, nullptr);

  logger->write(IBsLogger::severityInfo, "a.cpp", 1, "f", "ends with a line end\n");
  logger->write(IBsLogger::severityInfo, "a.cpp", 1, "f",
                "red \x1B[31m and\r\nforged {} %s \xE6\xB5\x8B\ttab");
  logger->write(IBsLogger::severityInfo, "a.cpp", 1, "f", "\n");

  const std::vector<std::string> lines = linesOf(directory.read("host.log"));
  ASSERT_EQ(lines.size(), 3U);
  EXPECT_TRUE(lines[0].ends_with("ends with a line end"));
  EXPECT_TRUE(lines[1].ends_with("red \\x1b[31m and\\x0d\\nforged {} %s \xE6\xB5\x8B\ttab")) << lines[1];
}

TEST(LogSinks, NothingOfATextSteersATerminal) {
  const TemporaryDirectory directory;
  const auto logger = makeLogger(fileSettings(directory.file("host.log")));
  ASSERT_NE(logger, nullptr);

  logger->write(IBsLogger::severityInfo, "a.cpp", 1, "f",
                "csi \xC2\x9B"
                "31m and \x9B"
                "31m");
  logger->write(IBsLogger::severityInfo, "a.cpp", 1, "f",
                "turned \xE2\x80\xAE"
                "gpj\xE2\x80\xAC \xE2\x81\xA6x\xE2\x81\xA9");
  logger->write(IBsLogger::severityInfo, "a.cpp", 1, "f",
                "broken \xE2\x80\xA8 line, \xE6\xB5 \xC0\xAF cut \xE6\xB5");
  logger->write(IBsLogger::severityInfo, "a.cpp", 1, "f",
                "kept \xC3\xA4\xC2\xA0\xE6\xB5\x8B\xF0\x9F\x8E\xA5");

  const std::vector<std::string> lines = linesOf(directory.read("host.log"));
  ASSERT_EQ(lines.size(), 4U);
  EXPECT_TRUE(lines[0].ends_with("csi \\xc2\\x9b31m and \\x9b31m")) << lines[0];
  EXPECT_TRUE(lines[1].ends_with("turned \\xe2\\x80\\xaegpj\\xe2\\x80\\xac \\xe2\\x81\\xa6x\\xe2\\x81\\xa9"))
      << lines[1];
  EXPECT_TRUE(lines[2].ends_with("broken \\xe2\\x80\\xa8 line, \\xe6\\xb5 \\xc0\\xaf cut \\xe6\\xb5"))
      << lines[2];
  EXPECT_TRUE(lines[3].ends_with("kept \xC3\xA4\xC2\xA0\xE6\xB5\x8B\xF0\x9F\x8E\xA5")) << lines[3];
}

TEST(LogSinks, FileIsRotatedAndOldOnesAreDropped) {
  const TemporaryDirectory directory;
  LogSettings settings = fileSettings(directory.file("host.log"));
  settings.maxFileBytes = 2000;
  settings.keptFiles = 2;
  const auto logger = makeLogger(settings);
  ASSERT_NE(logger, nullptr);

  for (int line = 0; line < 200; ++line) {
    logger->write(IBsLogger::severityInfo, "a.cpp", 1, "f",
                  "line " + std::to_string(line) + std::string(100, '.'));
  }

  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(directory.path())) {
    names.push_back(entry.path().filename().string());
    EXPECT_LE(entry.file_size(), 2000U) << names.back();
  }
  std::sort(names.begin(), names.end());
  EXPECT_EQ(names, (std::vector<std::string>{"host.1.log", "host.2.log", "host.log"}));
  EXPECT_NE(directory.read("host.log").find("line 199"), std::string::npos);
}

TEST(LogSinks, ThreadsNeverMixTheirLines) {
  const TemporaryDirectory directory;
  const auto logger = makeLogger(fileSettings(directory.file("host.log")));
  ASSERT_NE(logger, nullptr);
  constexpr int threads = 4;
  constexpr int each = 200;
  std::vector<std::thread> writers;
  for (int writer = 0; writer < threads; ++writer) {
    writers.emplace_back([&, writer] {
      const std::string text(200, static_cast<char>('a' + writer));
      for (int line = 0; line < each; ++line) logger->write(IBsLogger::severityInfo, "a.cpp", 1, "f", text);
    });
  }
  for (std::thread& writer : writers) writer.join();

  const std::vector<std::string> lines = linesOf(directory.read("host.log"));
  ASSERT_EQ(lines.size(), static_cast<std::size_t>(threads * each));
  for (const std::string& line : lines) {
    ASSERT_TRUE(line.ends_with(" f " + std::string(200, line.back()))) << line;
  }
}

TEST(LogSinks, ConsoleIsTheErrorStream) {
  testing::internal::CaptureStderr();
  LogSettings settings;
  settings.console = true;
  const auto logger = makeLogger(settings);
  ASSERT_NE(logger, nullptr);

  logger->write(IBsLogger::severityInfo, "a.cpp", 1, "KBL::f", "to the console, token=SECRET");

  const std::string text = testing::internal::GetCapturedStderr();
  EXPECT_NE(text.find("KBL::f to the console, token=***"), std::string::npos) << text;
}

TEST(LogSinks, NoSinkIsALoggerToo) {
  const auto logger = makeLogger({});
  ASSERT_NE(logger, nullptr);

  logger->write(IBsLogger::severityError, "a.cpp", 1, "f", "goes nowhere");
}

TEST(LogSinks, FileThatCannotBeOpenedGivesNoLogger) {
  const TemporaryDirectory directory;
  directory.write("file", "");

  EXPECT_EQ(makeLogger(fileSettings(directory.file("file/below/host.log"))), nullptr);
  EXPECT_EQ(makeLogger(fileSettings(directory.file(""))), nullptr);
}

TEST(LogSinks, NonAsciiPathsAndMissingFoldersWork) {
  const TemporaryDirectory directory;
  const std::string name = "K\xC3\xA4se/\xE6\xB5\x8B.log";
  const auto logger = makeLogger(fileSettings(directory.file(name)));
  ASSERT_NE(logger, nullptr);

  logger->write(IBsLogger::severityInfo, "a.cpp", 1, "f", "text");

  EXPECT_NE(directory.read(name).find("text"), std::string::npos);
}

#if !defined(_WIN32)
TEST(LogSinks, FilesAreForTheOwnerOnlyAfterRotationToo) {
  const TemporaryDirectory directory;
  directory.write("host.log", "from before\n");
  fs::permissions(directory.path() / "host.log", fs::perms(0666));
  LogSettings settings = fileSettings(directory.file("host.log"));
  settings.maxFileBytes = 1000;
  const auto logger = makeLogger(settings);
  ASSERT_NE(logger, nullptr);

  for (int line = 0; line < 50; ++line) {
    logger->write(IBsLogger::severityInfo, "a.cpp", 1, "f", std::string(100, '.'));
  }

  std::size_t files = 0;
  for (const auto& entry : fs::directory_iterator(directory.path())) {
    ++files;
    EXPECT_EQ(entry.status().permissions(), fs::perms::owner_read | fs::perms::owner_write) << entry.path();
  }
  EXPECT_EQ(files, 4U);
}
#endif
