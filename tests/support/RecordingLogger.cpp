#include "support/RecordingLogger.h"

#include "support/WaitUntil.h"

#include <algorithm>
#include <utility>

namespace {

bool anyContains(const std::vector<LogLine>& lines, const std::string& part) {
  return std::any_of(lines.begin(), lines.end(),
                     [&](const LogLine& line) { return line.text.find(part) != std::string::npos; });
}

}  // namespace

RecordingLogger::RecordingLogger(int maxSeverity) : maxSeverity_(maxSeverity) {}

bool RecordingLogger::testSeverity(Severity severity) {
  return severity <= maxSeverity_;
}

void RecordingLogger::write(Severity severity, const char* file, int line, const char* function,
                            const std::string& text) {
  {
    const std::lock_guard lock(mutex_);
    lines_.push_back({severity, file, line, function, text});
    written_.notify_all();
  }
  if (const auto action = takeAction(text)) action();
}

std::function<void()> RecordingLogger::takeAction(const std::string& text) {
  const std::lock_guard lock(mutex_);
  return text == textOfAction_ ? std::exchange(action_, nullptr) : nullptr;
}

std::vector<LogLine> RecordingLogger::lines() const {
  const std::lock_guard lock(mutex_);
  return lines_;
}

std::vector<LogLine> RecordingLogger::linesWith(const std::string& part) const {
  std::vector<LogLine> found = lines();
  std::erase_if(found, [&](const LogLine& line) { return line.text.find(part) == std::string::npos; });
  return found;
}

bool RecordingLogger::hasLine(const std::string& text) const {
  const std::lock_guard lock(mutex_);
  return std::any_of(lines_.begin(), lines_.end(), [&](const LogLine& line) { return line.text == text; });
}

bool RecordingLogger::waitForLineWith(const std::string& part) const {
  std::unique_lock lock(mutex_);
  return written_.wait_for(lock, generousLimit, [&] { return anyContains(lines_, part); });
}

void RecordingLogger::clear() {
  const std::lock_guard lock(mutex_);
  lines_.clear();
}

void RecordingLogger::doInside(const std::string& text, std::function<void()> action) {
  const std::lock_guard lock(mutex_);
  textOfAction_ = text;
  action_ = std::move(action);
}

ScopedRecordingLogger::ScopedRecordingLogger(int maxSeverity)
    : logger_(std::make_shared<RecordingLogger>(maxSeverity)) {
  KBL::installLogger(logger_);
}

ScopedRecordingLogger::~ScopedRecordingLogger() {
  KBL::installLogger(nullptr);
}
