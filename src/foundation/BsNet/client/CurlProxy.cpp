#include "foundation/BsNet/client/CurlProxy.h"

#include "foundation/Texts.h"
#include <BsNet/INetworkClient.h>

#include <algorithm>
#include <iterator>

namespace KBL {
namespace {

/// With SOCKS5 the proxy resolves names; version 4 cannot.
const char* schemeOf(int type) {
  switch (type) {
    case proxyHttp:
      return "http://";
    case proxySocks4:
      return "socks4://";
    case proxySocks5:
      return "socks5h://";
    default:
      return nullptr;
  }
}

std::string percentEncoded(const std::string& text) {
  std::string encoded;
  for (const char c : text) {
    if (isLetterOrDigit(c)) {
      encoded += c;
    } else {
      encoded += '%';
      writeHex(std::back_inserter(encoded), static_cast<unsigned char>(c), upperHexDigits);
    }
  }
  return encoded;
}

/// The host alone, whatever scheme or path people put around it; an IPv6 address in brackets.
std::string hostOf(std::string server) {
  if (const auto scheme = server.find("://"); scheme != std::string::npos) server.erase(0, scheme + 3);
  server.erase(std::min(server.find('/'), server.size()));
  const bool isBareIpv6 = server.find(':') != server.rfind(':') && !server.starts_with('[');
  return isBareIpv6 ? "[" + server + "]" : server;
}

}  // namespace

bool CurlProxy::isKnown() const {
  return type == 0 || schemeOf(type) != nullptr;
}

std::string CurlProxy::address() const {
  const char* const scheme = schemeOf(type);
  if (scheme == nullptr || server.empty()) return "";
  const bool hasCredentials = !user.empty() || !password.empty();
  const std::string credentials =
      hasCredentials ? percentEncoded(user) + ":" + percentEncoded(password) + "@" : "";
  return scheme + credentials + hostOf(server) + ":" + std::to_string(port);
}

}  // namespace KBL
