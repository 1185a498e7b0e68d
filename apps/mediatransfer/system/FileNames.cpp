#include "system/FileNames.h"

#include <utf8.h>

#include <algorithm>
#include <array>
#include <iterator>

namespace host {
namespace {

/// Bytes; systems take 255, and the names of temporary files want room.
constexpr std::size_t longestName = 200;
constexpr std::size_t longestEnding = 16;

constexpr std::array<std::string_view, 6> reservedNames{"con", "prn", "aux", "nul", "conin$", "conout$"};
constexpr std::array<std::string_view, 2> numberedNames{"com", "lpt"};

bool isUnfit(char32_t letter) {
  constexpr std::u32string_view unfit = U"<>:\"/\\|?*";
  const bool isControl = letter < 0x20 || (letter >= 0x7F && letter < 0xA0);
  // Line ends, and what turns the direction of writing or is not seen at all.
  const bool isHidden = (letter >= 0x200B && letter <= 0x200F) || (letter >= 0x2028 && letter <= 0x202E) ||
                        (letter >= 0x2060 && letter <= 0x2069) || letter == 0x061C || letter == 0xFEFF;
  const bool isNone = letter >= 0xFFFE && letter <= 0xFFFF;
  return isControl || isHidden || isNone || unfit.find(letter) != std::u32string_view::npos;
}

std::string withoutUnfit(std::string_view text) {
  const std::string readable = utf8::replace_invalid(text);
  std::string fit;
  for (auto place = readable.begin(); place != readable.end();) {
    const auto letter = static_cast<char32_t>(utf8::next(place, readable.end()));
    utf8::append(isUnfit(letter) ? U'_' : letter, std::back_inserter(fit));
  }
  return fit;
}

char32_t lowerLetter(char32_t letter) {
  const bool isLatin =
      (letter >= 'A' && letter <= 'Z') || (letter >= 0xC0 && letter <= 0xDE && letter != 0xD7);
  const bool isGreek = letter >= 0x391 && letter <= 0x3A9;
  const bool isCyrillic = letter >= 0x410 && letter <= 0x42F;
  if (isLatin || isGreek || isCyrillic) return letter + 32;
  if (letter >= 0x400 && letter <= 0x40F) return letter + 80;
  if (letter >= 0x100 && letter <= 0x17F) return letter | 1U;  // pairs, near enough
  return letter;
}

/// Where the ending begins, with its dot; the end of a name without one.
std::size_t endingOf(std::string_view name) {
  const std::size_t dot = name.rfind('.');
  if (dot == std::string_view::npos || dot == 0 || name.size() - dot > longestEnding) return name.size();
  return dot;
}

/// Windows knows devices by these, whatever the ending.
bool isReserved(std::string_view name) {
  std::string word = foldedFileName(name.substr(0, name.find('.')));
  while (word.ends_with(' ')) word.pop_back();
  if (std::find(reservedNames.begin(), reservedNames.end(), word) != reservedNames.end()) return true;
  return std::any_of(numberedNames.begin(), numberedNames.end(), [&](std::string_view device) {
    if (!word.starts_with(device)) return false;
    const std::string number = word.substr(device.size());
    const bool isDigit = number.size() == 1 && number.front() >= '0' && number.front() <= '9';
    return isDigit || number == "\u00B9" || number == "\u00B2" || number == "\u00B3";
  });
}

/// No letter is cut in two.
void shorten(std::string& text, std::size_t size) {
  if (text.size() <= size) return;
  while (size > 0 && (static_cast<unsigned char>(text[size]) & 0xC0U) == 0x80U) --size;
  text.resize(size);
}

}  // namespace

std::string safeFileName(std::string_view text) {
  std::string name = withoutUnfit(text);
  const std::string ending = name.substr(endingOf(name));
  name.resize(name.size() - ending.size());
  shorten(name, longestName - ending.size());
  name += ending;
  name.erase(0, name.find_first_not_of(' '));
  while (name.ends_with('.') || name.ends_with(' ')) name.pop_back();
  if (name.starts_with('.') || name.starts_with('-')) name.front() = '_';
  if (name.empty()) name = "_";
  return isReserved(name) ? safeFileName("_" + name) : name;
}

std::string foldedFileName(std::string_view name) {
  std::string folded;
  const char* const end = name.data() + name.size();
  for (const char* place = name.data(); place != end;) {
    const auto letter = static_cast<char32_t>(utf8::next(place, end));
    utf8::append(lowerLetter(letter), std::back_inserter(folded));
  }
  return folded;
}

std::string numberedFileName(std::string_view name, int number) {
  const std::size_t ending = endingOf(name);
  const std::string mark = " (" + std::to_string(number) + ")" + std::string(name.substr(ending));
  std::string numbered(name.substr(0, ending));
  shorten(numbered, longestName - mark.size());
  return numbered + mark;
}

}  // namespace host
