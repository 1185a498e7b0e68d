#include "sandbox/base/Masking.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <optional>

namespace sandbox {

namespace {

constexpr std::string_view mask = "***";
constexpr std::array<std::string_view, 27> secretNames{"access_token",
                                                       "api_sig",
                                                       "app_secret",
                                                       "appsecret_proof",
                                                       "auth_token",
                                                       "client_secret",
                                                       "code",
                                                       "code_verifier",
                                                       "fb_exchange_token",
                                                       "id_token",
                                                       "input_token",
                                                       "oauth_nonce",
                                                       "oauth_signature",
                                                       "oauth_token",
                                                       "oauth_token_secret",
                                                       "oauth_verifier",
                                                       "password",
                                                       "refresh_token",
                                                       "secret",
                                                       "sig",
                                                       "signature",
                                                       "token",
                                                       "upload_token",
                                                       "account_token",
                                                       "access-token",
                                                       "app_key_secret",
                                                       "session_secret"};
/// A header is secret when its name has one of these in it.
constexpr std::array<std::string_view, 6> secretHeaderParts{"authorization", "cookie",  "secret",
                                                            "token",         "api-key", "signature"};

bool isWord(char letter) {
  return (letter >= 'a' && letter <= 'z') || (letter >= 'A' && letter <= 'Z') ||
         (letter >= '0' && letter <= '9') || letter == '_' || letter == '-';
}

bool isSecretName(std::string_view name) {
  return std::find(secretNames.begin(), secretNames.end(), name) != secretNames.end();
}

/// Where the JSON or quoted text that begins at `begin` ends: at its closing quote, or at the end of what is
/// there.
std::size_t endOfQuoted(std::string_view text, std::size_t begin) {
  std::size_t at = begin;
  while (at < text.size() && text[at] != '"') at += text[at] == '\\' ? 2 : 1;
  return std::min(at, text.size());
}

std::size_t skipBlanks(std::string_view text, std::size_t at) {
  while (at < text.size() && (text[at] == ' ' || text[at] == '\n' || text[at] == '\r' || text[at] == '\t'))
    ++at;
  return at;
}

struct Span {
  std::size_t begin = 0;
  std::size_t end = 0;
};

/// The value of the secret whose name ends at `at`, in any of the three shapes; nothing where it has none
/// there.
std::optional<Span> valueBehind(std::string_view text, std::size_t at) {
  const bool quotedName = at < text.size() && text[at] == '"';
  std::size_t next = skipBlanks(text, at + (quotedName ? 1 : 0));
  if (quotedName && next < text.size() && text[next] == ':') {
    next = skipBlanks(text, next + 1);
    if (next >= text.size() || text[next] != '"') return std::nullopt;
    return Span{next + 1, endOfQuoted(text, next + 1)};
  }
  // A part of a form: its headers end with an empty line, its value with the next line.
  const std::size_t blank = quotedName ? text.find("\r\n\r\n", at) : std::string_view::npos;
  if (quotedName && blank != std::string_view::npos && text.find("\r\n--", at) > blank) {
    return Span{blank + 4, std::min(text.find("\r\n", blank + 4), text.size())};
  }
  if (quotedName || at >= text.size() || text[at] != '=') return std::nullopt;
  const bool quotedValue = at + 1 < text.size() && text[at + 1] == '"';
  if (quotedValue) return Span{at + 2, endOfQuoted(text, at + 2)};
  return Span{at + 1, std::min(text.find_first_of("&;, \t\r\n\"<>#", at + 1), text.size())};
}

/// "sbx-access-Ab12..." and its like: where the kind ends and the part that nobody may know begins.
std::optional<std::size_t> secretOfToken(std::string_view word) {
  constexpr std::string_view prefix = "sbx-";
  if (!word.starts_with(prefix)) return std::nullopt;
  const std::size_t dash = word.find('-', prefix.size());
  return dash == std::string_view::npos ? std::nullopt : std::optional(dash + 1);
}

std::string maskedWord(std::string_view word) {
  constexpr std::size_t shown = 4;
  constexpr std::string_view ellipsis = "\xE2\x80\xA6";
  const std::optional<std::size_t> secret = secretOfToken(word);
  if (!secret || word.size() <= *secret + shown) return std::string(word);
  return std::string(word.substr(0, *secret + shown)) + std::string(ellipsis);
}

bool isSecretHeader(std::string_view name) {
  std::string lower(name);
  for (char& letter : lower)
    letter = letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter + 32) : letter;
  return std::any_of(secretHeaderParts.begin(), secretHeaderParts.end(),
                     [&](std::string_view part) { return lower.find(part) != std::string::npos; });
}

std::string maskedHeader(std::string_view name, std::string_view value) {
  const std::string masked = maskedText(value);
  if (!isSecretHeader(name)) return masked;
  const std::size_t blank = masked.find(' ');
  const std::string scheme = blank == std::string::npos ? std::string() : masked.substr(0, blank + 1);
  const std::string rest = masked.substr(scheme.size());
  const bool isOurs = secretOfToken(rest) && rest.ends_with("\xE2\x80\xA6");
  const bool hasFields = scheme == "OAuth " && rest.find("=\"") != std::string::npos;
  return isOurs || hasFields ? masked : scheme + std::string(mask);
}

bool isPlain(unsigned char byte) {
  return (byte >= 0x20 && byte != 0x7F) || byte == '\n' || byte == '\r' || byte == '\t';
}

/// Bytes of the character of UTF-8 that begins here; 0 when none does.
std::size_t characterAt(std::string_view bytes, std::size_t at) {
  const auto lead = static_cast<unsigned char>(bytes[at]);
  if (lead < 0x80) return isPlain(lead) ? 1 : 0;
  const std::size_t size = lead >= 0xF0 && lead < 0xF5 ? 4 : lead >= 0xE0 ? 3 : lead >= 0xC2 ? 2 : 0;
  if (size == 0 || lead >= 0xF5 || at + size > bytes.size()) return 0;
  for (std::size_t i = 1; i < size; ++i) {
    if ((static_cast<unsigned char>(bytes[at + i]) & 0xC0U) != 0x80U) return 0;
  }
  const auto second = static_cast<unsigned char>(bytes[at + 1]);
  const bool tooLong = (lead == 0xE0 && second < 0xA0) || (lead == 0xF0 && second < 0x90);
  const bool noCharacter = (lead == 0xED && second >= 0xA0) || (lead == 0xF4 && second >= 0x90);
  return tooLong || noCharacter ? 0 : size;
}

std::size_t textUntil(std::string_view bytes, std::size_t at) {
  while (at < bytes.size()) {
    const std::size_t size = characterAt(bytes, at);
    if (size == 0) break;
    at += size;
  }
  return at;
}

}  // namespace

std::string maskedText(std::string_view text) {
  std::string masked;
  masked.reserve(text.size());
  std::size_t at = 0;
  while (at < text.size()) {
    std::size_t end = at;
    while (end < text.size() && isWord(text[end])) ++end;
    if (end == at) {
      masked += text[at++];
      continue;
    }
    const std::string_view word = text.substr(at, end - at);
    // A token keeps its beginning wherever it stands; every other secret goes whole.
    const std::optional<Span> value = isSecretName(word) ? valueBehind(text, end) : std::nullopt;
    if (!value || value->begin == value->end) {
      masked += maskedWord(word);
      at = end;
      continue;
    }
    const std::string_view secret = text.substr(value->begin, value->end - value->begin);
    const std::string shown = maskedWord(secret);
    masked += text.substr(at, value->begin - at);
    masked += shown == secret ? std::string(mask) : shown;
    at = value->end;
  }
  return masked;
}

std::string maskedHead(std::string_view firstLine,
                       const std::vector<std::pair<std::string, std::string>>& headers) {
  std::string head = maskedText(firstLine) + "\n";
  for (const auto& [name, value] : headers) head += name + ": " + maskedHeader(name, value) + "\n";
  return head;
}

std::string maskedHead(std::string_view head) {
  std::string masked;
  while (!head.empty()) {
    const std::string_view line = head.substr(0, head.find("\r\n"));
    head.remove_prefix(std::min(line.size() + 2, head.size()));
    const std::size_t colon = line.find(": ");
    const bool isHeader = colon != std::string_view::npos && !masked.empty();
    masked += isHeader ? std::string(line.substr(0, colon + 2)) +
                             maskedHeader(line.substr(0, colon), line.substr(colon + 2))
                       : maskedText(line);
    masked += '\n';
  }
  return masked;
}

std::string readableText(std::string_view bytes) {
  // Between bytes of a video some look like text; what is shorter than this is taken for none.
  constexpr std::size_t shortest = 24;
  std::string text;
  std::size_t hidden = 0;
  const auto tellHidden = [&] {
    if (hidden > 0) text += "[" + std::to_string(hidden) + " bytes]";
    hidden = 0;
  };
  std::size_t at = 0;
  while (at < bytes.size()) {
    const std::size_t end = textUntil(bytes, at);
    const bool shows = end - at >= shortest || (hidden == 0 && at == 0 && end == bytes.size());
    if (shows) {
      tellHidden();
      text += bytes.substr(at, end - at);
    } else {
      hidden += end - at;
    }
    if (end < bytes.size()) ++hidden;
    at = end + 1;
  }
  tellHidden();
  return text;
}

}  // namespace sandbox
