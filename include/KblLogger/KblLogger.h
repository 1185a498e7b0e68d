#pragma once

#include <KblUtils/Export.h>
#include <KblUtils/HostCode.h>

#include <memory>
#include <sstream>
#include <string>
#if __has_include(<version>)
#include <version>
#endif

// Where a line stands in the source: file, line number and function in the compiler's full form.
#if defined(__cpp_lib_source_location)
#include <source_location>
#define KBL_LOG_FILE std::source_location::current().file_name()
#define KBL_LOG_LINE static_cast<int>(std::source_location::current().line())
#define KBL_LOG_FUNCTION std::source_location::current().function_name()
#else  // before C++20
#define KBL_LOG_FILE __FILE__
#define KBL_LOG_LINE __LINE__
#if defined(_MSC_VER)
#define KBL_LOG_FUNCTION __FUNCSIG__
#else
#define KBL_LOG_FUNCTION __PRETTY_FUNCTION__
#endif
#endif

namespace KBL {

/// Where log lines go. Implementations are called from any thread, several at once.
class KBL_INTERFACE IBsLogger {
 public:
  enum Severity : int {
    severityError = 2,
    severityWarning = 3,
    severityInfo = 4,
    severityDebug = 11,
    // The same in the short, which hosts may have written; it is easily taken for a variable of theirs.
    error = severityError,
    warning = severityWarning,
    info = severityInfo,
    debug = severityDebug,
  };

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
/// A logger of the host's own gets lines as they are made: replies and addresses with whole tokens in them,
/// and what scripts return. The sinks of `makeLogger` mask them; so does `maskSecrets`.
KBL_LOGGER_API void installLogger(std::shared_ptr<IBsLogger> logger);

/// "KBL::Class::operation" out of what the compiler calls a function, return type, arguments and lambdas cut
/// away.
KBL_LOGGER_API std::string qualifiedFunctionName(const char* compilerName);
/// The file name behind the last slash or backslash.
KBL_LOGGER_API const char* fileNameOf(const char* path);

}  // namespace KBL

/// One log line: nothing is built unless a logger is installed and takes the severity. `text` is what would
/// stand behind `stream <<`. A line that cannot be built, since memory is short or the logger throws, is left
/// out. KBL_LOG_AS names the function itself, where the line's function name is fixed.
#define KBL_LOG_AS(severity, function, text)                                                              \
  do {                                                                                                    \
    try {                                                                                                 \
      if (auto* const kblLogger = KBL::loggerWrapper(0);                                                  \
          kblLogger != nullptr && kblLogger->testSeverity(KBL::IBsLogger::severity)) {                    \
        std::ostringstream kblLogText;                                                                    \
        kblLogText << text;                                                                               \
        kblLogger->createLogStream(KBL::IBsLogger::severity, KBL::fileNameOf(KBL_LOG_FILE), KBL_LOG_LINE, \
                                   function) +                                                            \
            kblLogText;                                                                                   \
      }                                                                                                   \
    } catch (...) {                                                                                       \
      KBL::passThreadEnd();                                                                               \
    }                                                                                                     \
  } while (false)
#define KBL_LOG(severity, text) \
  KBL_LOG_AS(severity, KBL::qualifiedFunctionName(KBL_LOG_FUNCTION).c_str(), text)
