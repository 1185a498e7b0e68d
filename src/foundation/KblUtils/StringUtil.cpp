#include "foundation/Texts.h"
#include "foundation/system/System.h"
#include <KblUtils/StringUtil.h>

#include <utf8.h>

#include <array>
#include <cstring>
#include <iterator>

namespace KBL {

bool StringUtil::utf8ToWide(const char* text, std::size_t size, std::wstring& wide) {
  wide.clear();
  if (text == nullptr) return false;
  std::string valid;
  utf8::replace_invalid(text, text + size, std::back_inserter(valid));
  if constexpr (sizeof(wchar_t) == 2) {
    utf8::utf8to16(valid.begin(), valid.end(), std::back_inserter(wide));
  } else {
    utf8::utf8to32(valid.begin(), valid.end(), std::back_inserter(wide));
  }
  return true;
}

bool StringUtil::isUtf8(const char* text) {
  return utf8::is_valid(text, text + std::strlen(text));
}

std::string StringUtil::cutUtf8(const std::string& text, std::size_t limit) {
  if (text.size() <= limit) return text;
  // A character has three continuation bytes at most; more of them are no UTF-8 and may be cut anywhere.
  std::size_t end = limit;
  const auto continues = [&](std::size_t place) { return (text[place] & 0xC0) == 0x80; };
  while (end > 0 && limit - end < 3 && continues(end)) --end;
  return text.substr(0, continues(end) ? limit : end);
}

}  // namespace KBL

void KblGenerateUuid(char* buffer) {
  if (buffer == nullptr) return;
  std::array<unsigned char, 16> bytes{};
  buffer[0] = '\0';
  if (!KBL::System::fillRandom(bytes.data(), bytes.size())) return;
  bytes[6] = static_cast<unsigned char>((bytes[6] & 0x0F) | 0x40);  // version 4: random
  bytes[8] = static_cast<unsigned char>((bytes[8] & 0x3F) | 0x80);  // the variant of the standard form
  char* out = buffer;
  for (std::size_t place = 0; place < bytes.size(); ++place) {
    if (place == 4 || place == 6 || place == 8 || place == 10) *out++ = '-';
    out = KBL::writeHex(out, bytes[place]);
  }
  *out = '\0';
}

char* kbl_strcpy(char* destination, const char* source) {
  if (destination == nullptr) return nullptr;
  const char* const from = KBL::textOrEmpty(source);
  std::memmove(destination, from, std::strlen(from) + 1);
  return destination;
}
