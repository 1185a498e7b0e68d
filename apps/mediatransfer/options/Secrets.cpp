#include "options/Secrets.h"

#include "options/Failure.h"
#include "options/ProxyUrl.h"
#include "system/Files.h"
#include "system/neverFreed.h"

#include <algorithm>
#include <optional>
#include <utility>

namespace host {
namespace {

std::vector<std::string>& hiddenSecrets() {
  static auto& secrets = neverFreed<std::vector<std::string>>();
  return secrets;
}

/// The password of a proxy's address as it stands there; empty without one.
std::string writtenPassword(const std::string& url) {
  const std::size_t begin = url.find("://");
  const std::size_t end = url.rfind('@');
  if (begin == std::string::npos || end == std::string::npos || end < begin) return {};
  const std::size_t colon = url.find(':', begin + 3);
  return colon < end ? url.substr(colon + 1, end - colon - 1) : std::string();
}

/// The password as a proxy gets it; empty for an address that is refused later.
std::string decodedPassword(const std::string& url) {
  try {
    return url.empty() ? std::string() : parseProxyUrl(url).password;
  } catch (const Failure&) {
    return {};
  }
}

}  // namespace

std::string resolveSecret(const std::string& value, const std::string& option) {
  if (value.empty() || value.front() != '@') return value;
  const std::string path = value.substr(1);
  std::optional<std::string> line = firstLineOf(path);
  if (line) return std::move(*line);
  throw Failure(Cause::file, "the file '" + path + "' of " + option + " cannot be read; check its name");
}

std::vector<std::string> givenSecrets(const Options& options) {
  constexpr std::size_t shortestSecret = 4;
  std::vector<std::string> secrets = {options.appSecret, options.token, options.secret,
                                      writtenPassword(options.proxy), decodedPassword(options.proxy)};
  // Flickr's token stands beside its secret.
  if (const std::size_t bar = options.token.find('|'); bar != std::string::npos) {
    secrets.push_back(options.token.substr(0, bar));
    secrets.push_back(options.token.substr(bar + 1));
  }
  std::erase_if(secrets, [](const std::string& secret) { return secret.size() < shortestSecret; });
  // What is part of another must not leave the rest of that one readable.
  std::stable_sort(secrets.begin(), secrets.end(), [](const std::string& one, const std::string& other) {
    return one.size() > other.size();
  });
  return secrets;
}

void hideSecrets(std::vector<std::string> secrets) {
  hiddenSecrets() = std::move(secrets);
}

std::string withoutGivenSecrets(std::string text) {
  constexpr std::string_view mask = "***";
  for (const std::string& secret : hiddenSecrets()) {
    for (std::size_t place = text.find(secret); place != std::string::npos;
         place = text.find(secret, place + mask.size())) {
      text.replace(place, secret.size(), mask);
    }
  }
  return text;
}

}  // namespace host
