#include "system/Utf8Path.h"

#if defined(_WIN32)
#include <windows.h>
#endif

namespace host {

#if defined(_WIN32)

std::optional<std::string> inNarrowEncoding(const std::string& utf8) {
  if (GetACP() == CP_UTF8) return utf8;
  const std::wstring wide = pathFromUtf8(utf8).wstring();
  const auto convert = [&wide](char* narrow, int size, BOOL* isLacking) {
    return WideCharToMultiByte(CP_ACP, WC_NO_BEST_FIT_CHARS, wide.data(), static_cast<int>(wide.size()),
                               narrow, size, nullptr, isLacking);
  };
  BOOL isLacking = FALSE;
  std::string narrow(static_cast<std::size_t>(convert(nullptr, 0, nullptr)), '\0');
  convert(narrow.data(), static_cast<int>(narrow.size()), &isLacking);
  if (isLacking != FALSE || narrow.empty() != utf8.empty()) return std::nullopt;
  return narrow;
}

#else

std::optional<std::string> inNarrowEncoding(const std::string& utf8) {
  return utf8;
}

#endif

}  // namespace host
