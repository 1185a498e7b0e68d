#pragma once

#include <KblUtils/Export.h>

#include <cstddef>
#include <string>

namespace KBL {

class KBL_UTILS_API StringUtil {
 public:
  /// UTF-8 to the system's wide text; bytes that are not valid UTF-8 become U+FFFD. False for a null text.
  static bool utf8ToWide(const char* text, std::size_t size, std::wstring& wide);
  /// True for a terminated text without a byte that is no UTF-8.
  static bool isUtf8(const char* text);
  /// The first `limit` bytes of a UTF-8 text at most, never cut inside a character.
  static std::string cutUtf8(const std::string& text, std::size_t limit);
  /// What others sent, as far as it may enter a log line or an error message: `maxExcerptBytes` of it at
  /// most, never cut inside a character.
  static std::string excerpt(const std::string& text) { return cutUtf8(text, maxExcerptBytes); }

  static constexpr std::size_t maxExcerptBytes = 4096;
};

}  // namespace KBL

/// Writes a fresh random uuid (36 characters, lower case, and a terminator) to `buffer`, which holds 64
/// bytes; an empty text should the system have no random numbers.
extern "C" KBL_UTILS_API void KblGenerateUuid(char* buffer);

/// Copies a terminated text and its terminator; the caller bounds what it copies. Null `source` copies an
/// empty text. Returns `destination`.
extern "C" KBL_UTILS_API char* kbl_strcpy(char* destination, const char* source);
