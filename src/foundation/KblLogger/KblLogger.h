#pragma once

#include "foundation/object/Export.h"

#include <memory>
#include <source_location>
#include <sstream>
#include <string>

namespace KBL {

/// Where log lines go. Implementations are called from any thread, several at once.
class KBL_INTERFACE IBsLogger {
 public:
  enum Severity : int { error = 2, warning = 3, info = 4, debug = 11 };

  virtual ~IBsLogger() = default;
  /// True when a line of that severity would be written.
  virtual bool testSeverity(Severity severity) = 0;
  /// Writes one line. `file` is the source file's name without folders, `function` the qualified function
  /// name.
  virtual void write(Severity severity, const char* file, int line, const char* function,
                     const std::string& text) = 0;
};

/// One line on its way to the logger; the destructor ends and writes it.
class KBL_LOGGER_API LogStream {
 public:
  LogStream(std::shared_ptr<IBsLogger> logger, IBsLogger::Severity severity, const char* file, int line,
            const char* function);
  ~LogStream();
  LogStream(LogStream&&) noexcept;
  LogStream(const LogStream&) = delete;
  LogStream& operator=(const LogStream&) = delete;

  /// Takes the text of a filled stream.
  LogStream& operator+(const std::ostringstream& text);

 private:
  std::shared_ptr<IBsLogger> logger_;
  IBsLogger::Severity severity_;
  std::string file_;
  int line_;
  std::string function_;
  std::string text_;
};

/// The process's access to the installed logger.
class KBL_LOGGER_API KblLoggerWrapper {
 public:
  bool testSeverity(IBsLogger::Severity severity);
  LogStream createLogStream(IBsLogger::Severity severity, const char* file, int line, const char* function);
};

/// The wrapper, or null when no logger is installed. The wrapper itself is never freed. Any thread.
KBL_LOGGER_API KblLoggerWrapper* loggerWrapper(int index);

/// Installs the logger of the process; null takes it away. Lines that are being written go to the former one.
KBL_LOGGER_API void installLogger(std::shared_ptr<IBsLogger> logger);

/// "KBL::Class::operation" out of what the compiler calls a function, return type, arguments and lambdas cut
/// away.
KBL_LOGGER_API std::string qualifiedFunctionName(const char* compilerName);
/// The file name behind the last slash or backslash.
KBL_LOGGER_API const char* fileNameOf(const char* path);

}  // namespace KBL

/// One log line: nothing is built unless a logger is installed and takes the severity. `text` is what would
/// stand behind `stream <<`. KBL_LOG_AS names the function itself, where the line's function name is fixed.
#define KBL_LOG_AS(severity, function, text)                                                         \
  do {                                                                                               \
    if (auto* const kblLogger = KBL::loggerWrapper(0);                                               \
        kblLogger != nullptr && kblLogger->testSeverity(KBL::IBsLogger::severity)) {                 \
      std::ostringstream kblLogText;                                                                 \
      kblLogText << text;                                                                            \
      const auto kblLogPlace = std::source_location::current();                                      \
      kblLogger->createLogStream(KBL::IBsLogger::severity, KBL::fileNameOf(kblLogPlace.file_name()), \
                                 static_cast<int>(kblLogPlace.line()), function) +                   \
          kblLogText;                                                                                \
    }                                                                                                \
  } while (false)
#define KBL_LOG(severity, text)                                                                             \
  KBL_LOG_AS(severity, KBL::qualifiedFunctionName(std::source_location::current().function_name()).c_str(), \
             text)
