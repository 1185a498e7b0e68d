#pragma once

#include <string>

/// A variable of this process's environment, for its own life; nothing afterwards.
class ScopedVariable {
 public:
  ScopedVariable(std::string name, const std::string& value);
  ~ScopedVariable();
  ScopedVariable(const ScopedVariable&) = delete;
  ScopedVariable& operator=(const ScopedVariable&) = delete;

 private:
  const std::string name_;
};
