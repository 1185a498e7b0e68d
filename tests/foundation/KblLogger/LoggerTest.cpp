#include "support/RecordingLogger.h"
#include "support/ThrowingLogger.h"
#include <KblLogger/KblLogger.h>

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

using KBL::IBsLogger;
using KBL::installLogger;
using KBL::loggerWrapper;

namespace KBL {

struct Speaker {
  static void speak(int number) { KBL_LOG(severityWarning, "number " << number << ", text"); }
};

}  // namespace KBL

TEST(Logger, WrapperIsThereWhileALoggerIsInstalled) {
  EXPECT_EQ(loggerWrapper(0), nullptr);
  {
    const ScopedRecordingLogger logger;
    EXPECT_NE(loggerWrapper(0), nullptr);
    EXPECT_EQ(loggerWrapper(0), loggerWrapper(0));
    EXPECT_EQ(loggerWrapper(1), nullptr);
  }
  EXPECT_EQ(loggerWrapper(0), nullptr);
}

TEST(Logger, LineCarriesSeverityPlaceFunctionAndText) {
  const ScopedRecordingLogger logger;

  KBL::Speaker::speak(17);

  ASSERT_EQ(logger->lines().size(), 1U);
  const LogLine line = logger->lines().front();
  EXPECT_EQ(line.severity, 3);
  EXPECT_EQ(line.file, "LoggerTest.cpp");
  EXPECT_GT(line.line, 0);
  EXPECT_EQ(line.function, "KBL::Speaker::speak");
  EXPECT_EQ(line.text, "number 17, text");
}

TEST(Logger, LineMayNameItsFunctionItself) {
  const ScopedRecordingLogger logger;

  KBL_LOG_AS(severityInfo, "KBL::printSecureInfo",
             "tag:"
                 << "ab**ef");

  ASSERT_EQ(logger->lines().size(), 1U);
  EXPECT_EQ(logger->lines().front().function, "KBL::printSecureInfo");
  EXPECT_EQ(logger->lines().front().severity, 4);
}

TEST(Logger, NothingIsBuiltWithoutALogger) {
  int built = 0;

  KBL_LOG(severityError, "text" << ++built);

  EXPECT_EQ(built, 0);
}

TEST(Logger, NothingIsBuiltForASeverityThatIsNotWritten) {
  const ScopedRecordingLogger logger(IBsLogger::severityInfo);
  int built = 0;

  KBL_LOG(severityDebug, "text" << ++built);
  KBL_LOG(severityInfo, "text" << ++built);

  EXPECT_EQ(built, 1);
  EXPECT_EQ(logger->lines().size(), 1U);
}

TEST(Logger, SeveritiesHaveTheirNumbers) {
  EXPECT_EQ(IBsLogger::severityError, 2);
  EXPECT_EQ(IBsLogger::severityWarning, 3);
  EXPECT_EQ(IBsLogger::severityInfo, 4);
  EXPECT_EQ(IBsLogger::severityDebug, 11);
}

TEST(Logger, SeveritiesInTheShortStayForHosts) {
  EXPECT_EQ(IBsLogger::error, IBsLogger::severityError);
  EXPECT_EQ(IBsLogger::warning, IBsLogger::severityWarning);
  EXPECT_EQ(IBsLogger::info, IBsLogger::severityInfo);
  EXPECT_EQ(IBsLogger::debug, IBsLogger::severityDebug);
}

TEST(Logger, StreamIsWrittenWhenItEnds) {
  const ScopedRecordingLogger logger;
  std::ostringstream text;
  text << "first";
  {
    KBL::LogStream stream = loggerWrapper(0)->createLogStream(IBsLogger::severityError, "a.cpp", 5, "f");
    stream + text + text;
    EXPECT_TRUE(logger->lines().empty());
    const KBL::LogStream moved = std::move(stream);
  }

  ASSERT_EQ(logger->lines().size(), 1U) << "a stream that was moved from writes nothing";
  EXPECT_EQ(logger->lines().front().text, "firstfirst");
  EXPECT_EQ(logger->lines().front().line, 5);
}

TEST(Logger, NullTextsOfAStreamAreEmpty) {
  const ScopedRecordingLogger logger;

  loggerWrapper(0)->createLogStream(IBsLogger::severityError, nullptr, 1, nullptr);

  ASSERT_EQ(logger->lines().size(), 1U);
  EXPECT_EQ(logger->lines().front().file, "");
  EXPECT_EQ(logger->lines().front().function, "");
}

TEST(Logger, LineThatIsBeingWrittenGoesToTheFormerLogger) {
  const auto former = std::make_shared<RecordingLogger>();
  installLogger(former);
  {
    const KBL::LogStream stream =
        loggerWrapper(0)->createLogStream(IBsLogger::severityError, "a.cpp", 1, "f");
    installLogger(nullptr);
  }

  EXPECT_EQ(former->lines().size(), 1U);
}

TEST(Logger, WrapperThatOutlivesTheLoggerWritesNothing) {
  installLogger(std::make_shared<RecordingLogger>());
  KBL::KblLoggerWrapper* const wrapper = loggerWrapper(0);
  installLogger(nullptr);

  EXPECT_FALSE(wrapper->testSeverity(IBsLogger::severityError));
  wrapper->createLogStream(IBsLogger::severityError, "a.cpp", 1, "f");
}

TEST(Logger, ALineThatCannotBeBuiltIsLeftOut) {
  constexpr bool already = true;
  installLogger(std::make_shared<ThrowingLogger>(already));
  EXPECT_NO_THROW(KBL::Speaker::speak(1));
  EXPECT_FALSE(loggerWrapper(0)->testSeverity(IBsLogger::severityError));
  installLogger(nullptr);
}

TEST(Logger, ExceptionOfALoggerStaysInside) {
  installLogger(std::make_shared<ThrowingLogger>());

  EXPECT_NO_THROW(KBL_LOG(severityError, "text"));

  installLogger(nullptr);
}

TEST(Logger, IsReplacedWhileOthersWrite) {
  std::atomic<bool> done = false;
  std::vector<std::thread> writers;
  for (int writer = 0; writer < 4; ++writer) {
    writers.emplace_back([&] {
      while (!done) KBL_LOG(severityInfo, "line");
    });
  }
  std::size_t written = 0;
  for (int round = 0; round < 300 || written == 0; ++round) {
    const ScopedRecordingLogger logger;
    written += logger->lines().size();
  }
  done = true;
  for (std::thread& writer : writers) writer.join();

  EXPECT_EQ(loggerWrapper(0), nullptr);
}

TEST(Logger, FileNameIsWhatFollowsTheLastSlash) {
  EXPECT_STREQ(KBL::fileNameOf("/a/b/c.cpp"), "c.cpp");
  EXPECT_STREQ(KBL::fileNameOf("C:\\a\\b.cpp"), "b.cpp");
  EXPECT_STREQ(KBL::fileNameOf("a.cpp"), "a.cpp");
  EXPECT_STREQ(KBL::fileNameOf("a/"), "");
  EXPECT_STREQ(KBL::fileNameOf(""), "");
  EXPECT_STREQ(KBL::fileNameOf(nullptr), "");
}
