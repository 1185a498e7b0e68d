#pragma once

#include "foundation/object/Export.h"

#include <cstddef>
#include <string>

namespace KBL {

class KBL_UTILS_API StringUtil {
 public:
  /// UTF-8 to the system's wide text; bytes that are not valid UTF-8 become U+FFFD. False for a null text.
  static bool utf8ToWide(const char* text, std::size_t size, std::wstring& wide);
  /// The first `limit` bytes of a UTF-8 text at most, never cut inside a character.
  static std::string cutUtf8(const std::string& text, std::size_t limit);
};

}  // namespace KBL

/// Writes a fresh random uuid (36 characters, lower case, and a terminator) to `buffer`, which holds 64
/// bytes; an empty text should the system have no random numbers.
extern "C" KBL_UTILS_API void KblGenerateUuid(char* buffer);

/// Copies a terminated text and its terminator; the caller bounds what it copies. Null `source` copies an
/// empty text. Returns `destination`.
extern "C" KBL_UTILS_API char* kbl_strcpy(char* destination, const char* source);
