#include "system/PercentDecoding.h"

namespace host {
namespace {

/// The value of a hexadecimal digit; -1 for any other character.
int digitOf(char digit) {
  if (digit >= '0' && digit <= '9') return digit - '0';
  if (digit >= 'a' && digit <= 'f') return digit - 'a' + 10;
  return digit >= 'A' && digit <= 'F' ? digit - 'A' + 10 : -1;
}

}  // namespace

PercentDecoded percentDecoded(std::string_view text) {
  PercentDecoded decoded;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool isSign = text[i] == '%';
    const int high = isSign && i + 2 < text.size() ? digitOf(text[i + 1]) : -1;
    const int low = high < 0 ? -1 : digitOf(text[i + 2]);
    decoded.text += low < 0 ? text[i] : static_cast<char>(high * 16 + low);
    if (low >= 0) i += 2;
    decoded.isSound = decoded.isSound && (!isSign || low >= 0);
  }
  return decoded;
}

}  // namespace host
