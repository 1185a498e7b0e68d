#include "system/Environment.h"

#include <cstdlib>

#if defined(_WIN32)
#include "system/Utf8Path.h"
#endif

namespace host {

#if defined(_WIN32)

void setEnvironment(const char* name, const std::string& value) {
  _wputenv_s(pathFromUtf8(name).c_str(), pathFromUtf8(value).c_str());
}

#else

void setEnvironment(const char* name, const std::string& value) {
  ::setenv(name, value.c_str(), 1);
}

#endif

}  // namespace host
