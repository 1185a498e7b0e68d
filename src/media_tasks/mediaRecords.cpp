#include "media_tasks/mediaRecords.h"

#include <utf8.h>

#include <algorithm>
#include <cstddef>
#include <iterator>

namespace KBL {

namespace {
bool isLeadingSurrogate(char16_t unit) {
  return unit >= 0xD800 && unit <= 0xDBFF;
}

/// Copies a text that is ASCII, as addresses are: nothing of it can be cut in two. False, with `field` half
/// filled, when it is not. One pass over whole words of the processor, without a branch a letter.
bool copyAscii(const char* text, std::size_t size, char16_t* field) {
  unsigned char seen = 0;
  for (std::size_t index = 0; index < size; ++index) {
    const auto letter = static_cast<unsigned char>(text[index]);
    field[index] = letter;
    seen |= letter;
  }
  return seen < 0x80;
}
}  // namespace

std::u16string wideText(std::string_view utf8) {
  std::string valid;
  valid.reserve(utf8.size());
  utf8::replace_invalid(utf8.begin(), utf8.end(), std::back_inserter(valid));
  std::u16string wide;
  wide.reserve(valid.size());
  utf8::unchecked::utf8to16(valid.begin(), valid.end(), std::back_inserter(wide));
  return wide;
}

void copyWide(std::string_view utf8, char16_t* field, std::size_t size) {
  const std::string_view text = utf8.substr(0, utf8.find('\0'));
  const std::size_t shown = std::min(text.size(), size - 1);
  if (copyAscii(text.data(), shown, field)) {
    std::fill(field + shown, field + size, u'\0');
    return;
  }
  const std::u16string wide = wideText(text);
  std::size_t length = std::min(wide.size(), size - 1);
  // Only a cut leaves half a pair at the end.
  if (length > 0 && isLeadingSurrogate(wide[length - 1])) --length;
  std::fill(std::copy_n(wide.begin(), length, field), field + size, u'\0');
}

hostMediaRecord mediaRecord(MediaType type, std::string_view mediaUrl, std::string_view thumbnailUrl) {
  hostMediaRecord record;  // each byte is set below, once: it is large beside what it says
  record.type = type;
  std::fill(std::begin(record.reserved), std::end(record.reserved), u'\0');
  copyWide(mediaUrl, record.mediaUrl);
  copyWide(thumbnailUrl, record.thumbnailUrl);
  record.more = 1;
  return record;
}

hostAlbumRecord albumRecord(std::string_view id, std::string_view name, bool more) {
  hostAlbumRecord record{};
  copyWide(id, record.id);
  copyWide(name, record.name);
  record.more = more ? 1 : 0;
  return record;
}

hostErrorRecord errorRecord(int code, std::string_view message) {
  hostErrorRecord record{};
  record.code = code;
  copyWide(message, record.message);
  return record;
}

}  // namespace KBL
