#pragma once

#include <string>

namespace KBL::System {

/// Windows' texts as UTF-8; what is no text in it (half of a pair) becomes U+FFFD. Windows alone.
[[nodiscard]] std::string utf8Of(const wchar_t* text);

}  // namespace KBL::System
