#pragma once

#include <ExternlMediaTransfer/DownloadRecords.h>

#include <cstddef>
#include <string>
#include <string_view>

namespace KBL {

// What the host gets, with its UTF-8 texts cut to their fields.

/// The record of one picture or video of a list.
[[nodiscard]] hostMediaRecord mediaRecord(MediaType type, std::string_view mediaUrl,
                                          std::string_view thumbnailUrl);
/// The record of one album; without `more` it ends the list.
[[nodiscard]] hostAlbumRecord albumRecord(std::string_view id, std::string_view name, bool more);
[[nodiscard]] hostErrorRecord errorRecord(int code, std::string_view message);

/// UTF-8 to UTF-16; bytes that are no UTF-8 become U+FFFD.
[[nodiscard]] std::u16string wideText(std::string_view utf8);

/// Fills a field of `size` characters with a UTF-8 text up to its first zero byte, cut at a character's end,
/// and zeroes the rest; the last character is always a terminator.
void copyWide(std::string_view utf8, char16_t* field, std::size_t size);

template <std::size_t size>
void copyWide(std::string_view utf8, char16_t (&field)[size]) {
  copyWide(utf8, field, size);
}

}  // namespace KBL
