#include "foundation/Texts.h"
#include <BsNet/URL.h>

#include <algorithm>
#include <charconv>
#include <string_view>
#include <utility>

namespace KBL {
namespace {

bool hasBlankOrControl(std::string_view text) {
  return std::any_of(text.begin(), text.end(),
                     [](char c) { return static_cast<unsigned char>(c) <= 0x20 || c == 0x7f; });
}

bool isPort(std::string_view digits) {
  unsigned port = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), port);
  return error == std::errc() && end == digits.data() + digits.size() && port >= 1 && port <= 65535;
}

bool isIpv6Literal(std::string_view text) {
  return text.find(':') != std::string_view::npos &&
         text.find_first_not_of("0123456789abcdefABCDEF:.%") == std::string_view::npos;
}

bool isHostName(std::string_view text) {
  return !text.empty() && text.find_first_of("\"<>\\^`{|}[]%:@,;!$&'()*+=~") == std::string_view::npos;
}

/// `host`, `host:port` or `[address]:port`.
bool isHostAndPort(std::string_view text) {
  if (text.starts_with('[')) {
    const auto close = text.find(']');
    if (close == std::string_view::npos || !isIpv6Literal(text.substr(1, close - 1))) return false;
    const std::string_view rest = text.substr(close + 1);
    return rest.empty() || (rest.starts_with(':') && isPort(rest.substr(1)));
  }
  const auto colon = text.find(':');
  if (colon == std::string_view::npos) return isHostName(text);
  return isHostName(text.substr(0, colon)) && isPort(text.substr(colon + 1));
}

bool isUsable(std::string_view text) {
  if (hasBlankOrControl(text)) return false;
  const auto schemeEnd = text.find("://");
  if (schemeEnd == std::string_view::npos) return false;
  const std::string_view scheme = text.substr(0, schemeEnd);
  if (!readsLike(scheme, "http") && !readsLike(scheme, "https")) return false;

  std::string_view authority = text.substr(schemeEnd + 3);
  authority = authority.substr(0, authority.find_first_of("/?#"));
  if (const auto at = authority.rfind('@'); at != std::string_view::npos) authority.remove_prefix(at + 1);
  return isHostAndPort(authority);
}

}  // namespace

URL::URL(std::string text) : text_(std::move(text)), valid_(isUsable(text_)) {}
URL URL::FromString(const std::string& text) {
  return URL(text);
}
bool URL::IsValid() const {
  return valid_;
}

}  // namespace KBL
