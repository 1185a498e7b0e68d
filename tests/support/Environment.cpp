#include "support/Environment.h"

#include <cstdlib>
#include <utility>

namespace {

void setVariable(const std::string& name, const std::string& value) {
#if defined(_WIN32)
  _putenv_s(name.c_str(), value.c_str());  // an empty value takes it out
#else
  value.empty() ? ::unsetenv(name.c_str()) : ::setenv(name.c_str(), value.c_str(), 1);
#endif
}

}  // namespace

ScopedVariable::ScopedVariable(std::string name, const std::string& value) : name_(std::move(name)) {
  setVariable(name_, value);
}

ScopedVariable::~ScopedVariable() {
  setVariable(name_, {});
}
