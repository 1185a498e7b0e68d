#pragma once

#include <KblLogger/KblLogger.h>

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

struct LogLine {
  int severity = 0;
  std::string file;
  int line = 0;
  std::string function;
  std::string text;
};

/// Keeps every line, unmasked, for a test to look at. Any thread.
class RecordingLogger : public KBL::IBsLogger {
 public:
  explicit RecordingLogger(int maxSeverity = KBL::IBsLogger::severityDebug);

  bool testSeverity(Severity severity) override;
  void write(Severity severity, const char* file, int line, const char* function,
             const std::string& text) override;

  [[nodiscard]] std::vector<LogLine> lines() const;
  /// The lines whose text contains `part`.
  [[nodiscard]] std::vector<LogLine> linesWith(const std::string& part) const;
  /// True when some line's text is exactly `text`.
  [[nodiscard]] bool hasLine(const std::string& text) const;
  /// Waits for a line whose text contains `part`; false when none came within the generous limit.
  [[nodiscard]] bool waitForLineWith(const std::string& part) const;
  void clear();
  /// Does this once, on the thread that logs it, inside the next line whose text is exactly `text`.
  void doInside(const std::string& text, std::function<void()> action);

 private:
  [[nodiscard]] std::function<void()> takeAction(const std::string& text);

  const int maxSeverity_;
  mutable std::mutex mutex_;
  mutable std::condition_variable written_;
  std::vector<LogLine> lines_;
  std::string textOfAction_;
  std::function<void()> action_;
};

/// Installs a recording logger for its own life.
class ScopedRecordingLogger {
 public:
  explicit ScopedRecordingLogger(int maxSeverity = KBL::IBsLogger::severityDebug);
  ~ScopedRecordingLogger();
  ScopedRecordingLogger(const ScopedRecordingLogger&) = delete;
  ScopedRecordingLogger& operator=(const ScopedRecordingLogger&) = delete;

  RecordingLogger* operator->() const { return logger_.get(); }
  RecordingLogger& operator*() const { return *logger_; }

 private:
  std::shared_ptr<RecordingLogger> logger_;
};
