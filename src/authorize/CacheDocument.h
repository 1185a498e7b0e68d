#pragma once

#include "authorize/switchboard/ExternlMediaCacheInfo.h"
#include <BsNet/cipher.h>

#include <cstddef>
#include <optional>
#include <string>

namespace KBL {

// The text in which the users of one platform are stored: a JSON array, padded, enciphered and written in
// hexadecimal digits.

/// The most hexadecimal digits that are read or written.
inline constexpr std::size_t maxCacheTextSize = 64U << 20;

/// The JSON array with a line feed; every record bears `savedAt`. An empty list gives "null": reading it back
/// fails, with the right effect that nobody is signed in.
[[nodiscard]] std::string cacheDocument(const CacheEntries& list, const std::string& savedAt);
/// Fills up to the cipher's block of 16 bytes with the character '1'. The reader finds the end of the
/// document by its last ']', so the padding carries no length; both are required as they stand.
[[nodiscard]] std::string padCacheDocument(std::string document);
/// Enciphers a padded document into hexadecimal digits; nothing when the cipher fails.
[[nodiscard]] std::optional<std::string> sealCacheDocument(std::string padded, const CipherKey& key);

/// Reads the text of a setting back. Nothing unless it holds a JSON array, which may be empty.
[[nodiscard]] std::optional<CacheEntries> openCacheText(const std::string& text, const CipherKey& key);

}  // namespace KBL
