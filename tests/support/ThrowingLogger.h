#pragma once

#include <KblLogger/KblLogger.h>

#include <stdexcept>
#include <string>

/// A host's logger that throws at each line, or already when it is asked for its severity.
class ThrowingLogger final : public KBL::IBsLogger {
 public:
  explicit ThrowingLogger(bool already = false) : already_(already) {}
  bool testSeverity(Severity) override {
    if (already_) throw std::runtime_error("no severities");
    return true;
  }
  void write(Severity, const char*, int, const char*, const std::string&) override {
    throw std::runtime_error("disk full");
  }

 private:
  const bool already_;
};
