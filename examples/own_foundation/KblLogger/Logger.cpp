// Log lines to the standard error stream: errors and warnings alone, unless OWN_LOG asks for all of them.
#include <KblLogger/KblLogger.h>

#include <cstdlib>
#include <cstring>
#include <iostream>
#include <mutex>
#include <utility>

namespace KBL {

namespace {

class StandardErrorLogger final : public IBsLogger {
 public:
  bool testSeverity(Severity severity) override { return severity <= severityWarning || wantsAll_; }
  void write(Severity severity, const char* file, int line, const char*, const std::string& text) override {
    const std::lock_guard<std::mutex> lock(mutex_);
    std::cerr << "own log " << severity << ' ' << file << ':' << line << ' ' << text << std::endl;
  }

 private:
  const bool wantsAll_ = std::getenv("OWN_LOG") != nullptr;
  std::mutex mutex_;
};

/// Never freed, as the wrapper: threads may log while the process ends.
const std::shared_ptr<IBsLogger>& logger() {
  static auto& instance = *new std::shared_ptr<IBsLogger>(std::make_shared<StandardErrorLogger>());
  return instance;
}

}  // namespace

LogStream::LogStream(std::shared_ptr<IBsLogger> logger, IBsLogger::Severity severity, const char* file,
                     int line, const char* function)
    : logger_(std::move(logger)), severity_(severity), file_(file), line_(line), function_(function) {}

LogStream::~LogStream() {
  if (!logger_) return;  // it was moved
  try {
    logger_->write(severity_, file_.c_str(), line_, function_.c_str(), text_);
  } catch (...) {  // a line that cannot be written is left out
  }
}

LogStream::LogStream(LogStream&&) noexcept = default;

LogStream& LogStream::operator+(const std::ostringstream& text) {
  text_ += text.str();
  return *this;
}

bool KblLoggerWrapper::testSeverity(IBsLogger::Severity severity) {
  return logger()->testSeverity(severity);
}

LogStream KblLoggerWrapper::createLogStream(IBsLogger::Severity severity, const char* file, int line,
                                            const char* function) {
  return LogStream(logger(), severity, file, line, function);
}

KblLoggerWrapper* loggerWrapper(int index) {
  static auto& wrapper = *new KblLoggerWrapper;
  return index == 0 ? &wrapper : nullptr;
}

std::string qualifiedFunctionName(const char* compilerName) {
  const std::string whole = compilerName != nullptr ? compilerName : "";
  const std::string name = whole.substr(0, whole.find('('));
  return name.substr(name.rfind(' ') + 1);
}

const char* fileNameOf(const char* path) {
  const char* const slash = path != nullptr ? std::strrchr(path, '/') : nullptr;
  return slash != nullptr ? slash + 1 : path != nullptr ? path : "";
}

}  // namespace KBL
