#include "foundation/Texts.h"
#include "foundation/neverFreed.h"
#include "foundation/object/Snapshot.h"
#include <KblLogger/KblLogger.h>

#include <atomic>
#include <cstring>
#include <exception>
#include <utility>

namespace KBL {

namespace {

/// Detached threads may log while the process ends.
struct InstalledLogger {
  Snapshot<std::shared_ptr<IBsLogger>> logger;
  KblLoggerWrapper wrapper;
  std::atomic<bool> isThere{false};
};

InstalledLogger& installed() {
  static InstalledLogger& instance = neverFreed<InstalledLogger>();
  return instance;
}

}  // namespace

LogStream::LogStream(std::shared_ptr<IBsLogger> logger, IBsLogger::Severity severity, const char* file,
                     int line, const char* function)
    : logger_(std::move(logger)),
      severity_(severity),
      file_(textOrEmpty(file)),
      line_(line),
      function_(textOrEmpty(function)) {}

LogStream::~LogStream() {
  if (logger_ == nullptr) return;
  try {
    logger_->write(severity_, file_.c_str(), line_, function_.c_str(), text_);
  } catch (const std::exception&) {
    // A line that cannot be written must not end what wrote it.
  } catch (...) {
  }
}

LogStream::LogStream(LogStream&&) noexcept = default;

LogStream& LogStream::operator+(const std::ostringstream& text) {
  text_ += text.str();
  return *this;
}

bool KblLoggerWrapper::testSeverity(IBsLogger::Severity severity) {
  const auto logger = *installed().logger.read();
  try {
    return logger != nullptr && logger->testSeverity(severity);
  } catch (...) {
    passThreadEnd();
    return false;
  }
}

LogStream KblLoggerWrapper::createLogStream(IBsLogger::Severity severity, const char* file, int line,
                                            const char* function) {
  return LogStream(*installed().logger.read(), severity, file, line, function);
}

KblLoggerWrapper* loggerWrapper(int index) {
  InstalledLogger& process = installed();
  return index == 0 && process.isThere ? &process.wrapper : nullptr;
}

void installLogger(std::shared_ptr<IBsLogger> logger) {
  installed().logger.change([&](std::shared_ptr<IBsLogger>& current) {
    installed().isThere = logger != nullptr;
    current.swap(logger);
  });
}

const char* fileNameOf(const char* path) {
  if (path == nullptr) return "";
  const char* name = path;
  for (const char* place = path; *place != '\0'; ++place) {
    if (*place == '/' || *place == '\\') name = place + 1;
  }
  return name;
}

}  // namespace KBL
