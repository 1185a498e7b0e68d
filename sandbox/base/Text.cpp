#include "sandbox/base/Text.h"

#include <openssl/evp.h>

#include <algorithm>
#include <charconv>
#include <random>

namespace sandbox {

namespace {

char lower(char letter) {
  return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
}

bool hexByte(std::string_view digits, char& byte) {
  unsigned value = 0;
  if (digits.size() != 2) return false;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + 2, value, 16);
  byte = static_cast<char>(value);
  return error == std::errc() && end == digits.data() + 2;
}

void appendHex(std::string& text, char letter, std::string_view digits) {
  const auto byte = static_cast<unsigned char>(letter);
  text += digits[byte >> 4];
  text += digits[byte & 15];
}

const unsigned char* bytesOf(std::string_view text) {
  return reinterpret_cast<const unsigned char*>(text.data());
}

}  // namespace

bool equalIgnoringCase(std::string_view left, std::string_view right) {
  return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                    [](char a, char b) { return lower(a) == lower(b); });
}

std::string percentEncoded(std::string_view text) {
  constexpr std::string_view plain = "-._~";
  std::string encoded;
  for (const char letter : text) {
    const bool alphanumeric =
        (lower(letter) >= 'a' && lower(letter) <= 'z') || (letter >= '0' && letter <= '9');
    if (alphanumeric || plain.find(letter) != std::string_view::npos) {
      encoded += letter;
      continue;
    }
    encoded += '%';
    appendHex(encoded, letter, "0123456789ABCDEF");
  }
  return encoded;
}

std::string percentDecoded(std::string_view text) {
  std::string decoded;
  decoded.reserve(text.size());
  for (std::size_t at = 0; at < text.size(); ++at) {
    char byte = 0;
    if (text[at] == '%' && hexByte(text.substr(at + 1, 2), byte)) {
      decoded += byte;
      at += 2;
      continue;
    }
    decoded += text[at] == '+' ? ' ' : text[at];
  }
  return decoded;
}

std::vector<std::pair<std::string, std::string>> parseForm(std::string_view text) {
  std::vector<std::pair<std::string, std::string>> fields;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('&'), text.size());
    const std::string_view field = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    if (field.empty()) continue;
    const std::size_t equals = std::min(field.find('='), field.size());
    fields.emplace_back(percentDecoded(field.substr(0, equals)),
                        percentDecoded(field.substr(std::min(equals + 1, field.size()))));
  }
  return fields;
}

std::string htmlEscaped(std::string_view text) {
  std::string escaped;
  for (const char letter : text) {
    switch (letter) {
      case '&':
        escaped += "&amp;";
        break;
      case '<':
        escaped += "&lt;";
        break;
      case '>':
        escaped += "&gt;";
        break;
      case '"':
        escaped += "&quot;";
        break;
      case '\'':
        escaped += "&#39;";
        break;
      default:
        escaped += letter;
    }
  }
  return escaped;
}

std::size_t characterCount(std::string_view text) {
  return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), [](char byte) {
    constexpr unsigned continuationMask = 0xC0;
    constexpr unsigned continuation = 0x80;
    return (static_cast<unsigned char>(byte) & continuationMask) != continuation;
  }));
}

std::string randomText(std::size_t length) {
  constexpr std::string_view letters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";
  std::random_device source;
  std::uniform_int_distribution<std::size_t> pick(0, letters.size() - 1);
  std::string text(length, '0');
  for (char& letter : text) letter = letters[pick(source)];
  return text;
}

std::string randomDigits(std::size_t length) {
  std::random_device source;
  std::uniform_int_distribution<int> pick(1, 9);
  std::string text(length, '0');
  for (char& letter : text) letter = static_cast<char>('0' + pick(source));
  return text;
}

bool parseNumber(std::string_view text, unsigned long long& number) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc() && !text.empty() && end == text.data() + text.size();
}

std::string hexText(std::string_view bytes) {
  std::string text;
  for (const char byte : bytes) appendHex(text, byte, "0123456789abcdef");
  return text;
}

std::string base64(std::string_view bytes) {
  // One byte more for the NUL that the encoder writes.
  std::string text((bytes.size() + 2) / 3 * 4 + 1, '\0');
  const int length = EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data()), bytesOf(bytes),
                                     static_cast<int>(bytes.size()));
  text.resize(static_cast<std::size_t>(length));
  return text;
}

std::string base64Url(std::string_view bytes) {
  std::string text = base64(bytes);
  std::replace(text.begin(), text.end(), '+', '-');
  std::replace(text.begin(), text.end(), '/', '_');
  text.erase(std::find(text.begin(), text.end(), '='), text.end());
  return text;
}

std::optional<std::string> base64Decoded(std::string_view text) {
  if (text.size() % 4 != 0) return std::nullopt;
  const std::size_t letters = std::min(text.find('='), text.size());
  const std::size_t padding = text.size() - letters;
  if (padding > 2 || text.find_first_not_of('=', letters) != std::string_view::npos) return std::nullopt;
  std::string bytes(text.size() / 4 * 3, '\0');
  const int length = EVP_DecodeBlock(reinterpret_cast<unsigned char*>(bytes.data()), bytesOf(text),
                                     static_cast<int>(text.size()));
  if (length < 0) return std::nullopt;
  bytes.resize(static_cast<std::size_t>(length) - padding);
  return bytes;
}

}  // namespace sandbox
