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

bool isAscii(char c) {
  return static_cast<unsigned char>(c) < 0x80;
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
  const auto shown = text.begin() + static_cast<std::ptrdiff_t>(std::min(text.size(), size - 1));
  if (std::all_of(text.begin(), shown, &isAscii)) {  // as addresses are; nothing to be cut in two
    std::fill(std::copy(text.begin(), shown, field), field + size, u'\0');
    return;
  }
  const std::u16string wide = wideText(text);
  std::size_t length = std::min(wide.size(), size - 1);
  // Only a cut leaves half a pair at the end.
  if (length > 0 && isLeadingSurrogate(wide[length - 1])) --length;
  std::fill(std::copy_n(wide.begin(), length, field), field + size, u'\0');
}

hostMediaRecord mediaRecord(MediaType type, std::string_view mediaUrl, std::string_view thumbnailUrl) {
  hostMediaRecord record{};
  record.type = type;
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
