// Texts in UTF-8, and random names.
#include <KblUtils/StringUtil.h>

#include <cstring>
#include <exception>
#include <random>

namespace {

/// Bytes of the character at `text`, 1 for one that is no UTF-8; `letter` is the character or U+FFFD.
std::size_t readLetter(const unsigned char* text, std::size_t size, char32_t& letter) {
  const unsigned char first = text[0];
  letter = first;
  if (first < 0x80) return 1;
  const std::size_t length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
  letter = first & (0xFFU >> (length + 1));
  bool isGood = first >= 0xC2 && first <= 0xF4 && length <= size;
  for (std::size_t at = 1; isGood && at < length; ++at) {
    isGood = (text[at] & 0xC0) == 0x80;
    letter = letter << 6 | (text[at] & 0x3FU);
  }
  constexpr char32_t least[] = {0, 0, 0x80, 0x800, 0x10000};
  isGood = isGood && letter >= least[length] && letter <= 0x10FFFF && (letter < 0xD800 || letter > 0xDFFF);
  if (isGood) return length;
  letter = 0xFFFD;
  return 1;
}

}  // namespace

namespace KBL {

bool StringUtil::utf8ToWide(const char* text, std::size_t size, std::wstring& wide) {
  wide.clear();
  if (text == nullptr) return false;
  const auto* const bytes = reinterpret_cast<const unsigned char*>(text);
  for (std::size_t at = 0; at < size;) {
    char32_t letter = 0;
    at += readLetter(bytes + at, size - at, letter);
    wide += static_cast<wchar_t>(letter);
  }
  return true;
}

bool StringUtil::isUtf8(const char* text) {
  const auto* const bytes = reinterpret_cast<const unsigned char*>(text);
  const std::size_t size = std::strlen(text);
  for (std::size_t at = 0; at < size;) {
    char32_t letter = 0;
    const std::size_t length = readLetter(bytes + at, size - at, letter);
    if (length == 1 && letter == 0xFFFD) return false;
    at += length;
  }
  return true;
}

std::string StringUtil::cutUtf8(const std::string& text, std::size_t limit) {
  if (text.size() <= limit) return text;
  std::size_t end = limit;
  while (end > 0 && limit - end < 3 && (text[end] & 0xC0) == 0x80) --end;
  return text.substr(0, end);
}

}  // namespace KBL

void KblGenerateUuid(char* buffer) {
  if (buffer == nullptr) return;
  try {
    std::random_device random;
    std::string uuid = "xxxxxxxx-xxxx-4xxx-yxxx-xxxxxxxxxxxx";
    for (char& letter : uuid) {
      const unsigned digit = random() % 16;
      if (letter == 'x') letter = "0123456789abcdef"[digit];
      if (letter == 'y') letter = "89ab"[digit % 4];
    }
    kbl_strcpy(buffer, uuid.c_str());
  } catch (const std::exception&) {
    *buffer = '\0';
  }
}

char* kbl_strcpy(char* destination, const char* source) {
  if (destination == nullptr) return nullptr;
  if (source == nullptr) source = "";
  std::memmove(destination, source, std::strlen(source) + 1);
  return destination;
}
