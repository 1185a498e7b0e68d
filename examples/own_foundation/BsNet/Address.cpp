// Addresses, header names and the numbers of transport failures.
#include <BsNet/NetReply.h>
#include <BsNet/URL.h>

#include <strings.h>

#include <cstdlib>
#include <limits>
#include <utility>

namespace {

/// `host`, `host:port` or `[address]:port`, behind what a user's name may be.
bool isAuthority(std::string text) {
  text.erase(0, text.rfind('@') + 1);  // npos + 1 is 0
  const std::size_t bracket = text.find(']');
  const std::size_t colon = text.find(':', bracket == std::string::npos ? 0 : bracket);
  const std::string host = text.substr(0, colon);
  const bool isLiteral = !host.empty() && host.front() == '[' && host.back() == ']' && host.size() > 3;
  if (!isLiteral && (host.empty() || host.find_first_of("\"<>\\^`{|}[]%,;!$&'()*+=~") != std::string::npos)) {
    return false;
  }
  if (colon == std::string::npos) return true;
  const std::string port = text.substr(colon + 1);
  const bool isNumber =
      !port.empty() && port.size() <= 5 && port.find_first_not_of("0123456789") == std::string::npos;
  const long number = isNumber ? std::strtol(port.c_str(), nullptr, 10) : 0;
  return number >= 1 && number <= 65535;
}

bool isAddress(const std::string& text) {
  for (const char letter : text) {
    if (static_cast<unsigned char>(letter) <= ' ' || letter == 0x7F) return false;
  }
  const std::size_t scheme = text.find("://");
  if (scheme == std::string::npos) return false;
  const std::string name = text.substr(0, scheme);
  if (strcasecmp(name.c_str(), "http") != 0 && strcasecmp(name.c_str(), "https") != 0) return false;
  const std::string rest = text.substr(scheme + 3);
  return isAuthority(rest.substr(0, rest.find_first_of("/?#")));
}

}  // namespace

namespace KBL {

URL::URL(std::string text) : text_(std::move(text)), valid_(isAddress(text_)) {}

URL URL::FromString(const std::string& text) {
  return URL(text);
}

bool URL::IsValid() const {
  return valid_;
}

bool HeaderNameLess::operator()(const std::string& left, const std::string& right) const {
  return strcasecmp(left.c_str(), right.c_str()) < 0;
}

}  // namespace KBL

int covertToErrorCode(const int* transportCode) {
  if (transportCode == nullptr) return 0;
  const int code = *transportCode;
  const bool stays = code <= 0 || code == KBL::ErrorCode::tokenMissing ||
                     code > (std::numeric_limits<int>::max)() - KBL::transportErrorBase;
  return stays ? code : KBL::transportErrorBase + code;
}
