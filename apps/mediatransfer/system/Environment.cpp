#include "system/Environment.h"

#include <cstdlib>

#if defined(_WIN32)
#include <windows.h>

#include <vector>
#endif

namespace host {

#if defined(_WIN32)

void setEnvironment(const char* name, const std::string& value) {
  const auto wide = [](const std::string& text) {
    const int size = MultiByteToWideChar(CP_UTF8, 0, text.c_str(), -1, nullptr, 0);
    std::vector<wchar_t> letters(static_cast<std::size_t>(size > 0 ? size : 1));
    MultiByteToWideChar(CP_UTF8, 0, text.c_str(), -1, letters.data(), size);
    return letters;
  };
  _wputenv_s(wide(name).data(), wide(value).data());
}

#else

void setEnvironment(const char* name, const std::string& value) {
  ::setenv(name, value.c_str(), 1);
}

#endif

}  // namespace host
