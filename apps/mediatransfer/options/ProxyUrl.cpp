#include "options/ProxyUrl.h"

#include "options/Failure.h"
#include "system/PercentDecoding.h"
#include <BsNet/INetworkClient.h>

#include <charconv>
#include <string_view>
#include <utility>

namespace host {
namespace {

// The text of the URL is kept out of the line: it may hold a password.
[[noreturn]] void refuse(const std::string& what) {
  throw Failure(Exit::wrongUse,
                "--proxy: " + what + "; give http://, socks4:// or socks5://[USER:PASSWORD@]HOST:PORT");
}

int typeOfScheme(std::string_view scheme) {
  if (scheme == "http") return KBL::proxyHttp;
  if (scheme == "socks4") return KBL::proxySocks4;
  if (scheme == "socks5") return KBL::proxySocks5;
  refuse("unknown scheme");
}

std::string decoded(std::string_view text) {
  PercentDecoded plain = percentDecoded(text);
  if (!plain.isSound) refuse("a '%' without two hexadecimal digits");
  return std::move(plain.text);
}

int portOf(std::string_view text) {
  int port = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), port);
  if (error != std::errc() || end != text.data() + text.size() || port < 1 || port > 65535) {
    refuse("no port of 1 to 65535");
  }
  return port;
}

/// "HOST:PORT" or "[ADDRESS]:PORT".
void readAuthority(std::string_view text, ProxyAddress& address) {
  const bool bracketed = text.starts_with('[');
  const std::size_t hostEnd = bracketed ? text.find(']') : text.find(':');
  if (hostEnd == std::string_view::npos) refuse("no port");
  const std::string_view server = bracketed ? text.substr(1, hostEnd - 1) : text.substr(0, hostEnd);
  const std::string_view rest = text.substr(bracketed ? hostEnd + 1 : hostEnd);
  if (server.empty()) refuse("no host");
  if (!rest.starts_with(':')) refuse("no port");
  address.server = server;
  address.port = portOf(rest.substr(1));
}

}  // namespace

ProxyAddress parseProxyUrl(const std::string& url) {
  const std::size_t scheme = url.find("://");
  if (scheme == std::string::npos) refuse("no scheme");
  ProxyAddress address;
  address.type = typeOfScheme(std::string_view(url).substr(0, scheme));

  std::string_view rest = std::string_view(url).substr(scheme + 3);
  if (rest.ends_with('/')) rest.remove_suffix(1);
  if (const std::size_t at = rest.rfind('@'); at != std::string_view::npos) {
    const std::string_view credentials = rest.substr(0, at);
    const std::size_t colon = credentials.find(':');
    address.user = decoded(credentials.substr(0, colon));
    if (colon != std::string_view::npos) address.password = decoded(credentials.substr(colon + 1));
    rest = rest.substr(at + 1);
  }
  readAuthority(rest, address);
  return address;
}

}  // namespace host
