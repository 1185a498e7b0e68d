#include "host/ServerOrigin.h"

#include "options/Failure.h"
#include <BsCloudConfig/BsCloudConfig.h>
#include <KblUtils/Process.h>

#include <array>
#include <set>
#include <string_view>

namespace host {
namespace {

/// Those that a renewal asks, and the entitlement query behind them.
constexpr std::array<const char*, 5> accountServerKeys = {
    "urlLFServerClientCredentials", "urlLFServerUserSupportSession", "urlLFServerUserSupportCode",
    "urlLFServerUserSupportToken", "urlUserSupportQueryConsume"};

constexpr const char* publicServices = "public";

/// Empty for a key that the configuration lacks.
std::string configuredUrl(const char* key) {
  std::array<char, KBL::urlBufferSize> buffer{};
  KBL::IBsCloudConfigManager* const manager = getBsCloudConfigManager();
  if (manager == nullptr || manager->urlConfig() == nullptr) return {};
  manager->urlConfig()->urlForKey(key, buffer.data(), 0);
  return buffer.data();
}

std::string joined(const std::set<std::string>& origins) {
  std::string whole;
  for (const std::string& origin : origins) whole += (whole.empty() ? "" : " ") + origin;
  return whole;
}

std::string lowerCase(std::string text) {
  for (char& c : text) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return text;
}

}  // namespace

std::string originOf(const std::string& url) {
  const std::size_t mark = url.find("://");
  if (mark == std::string::npos) return {};
  const std::string scheme = lowerCase(url.substr(0, mark));
  if (scheme != "http" && scheme != "https") return {};
  const std::size_t begin = mark + 3;
  std::string authority = url.substr(begin, url.find_first_of("/?#\\", begin) - begin);
  authority = lowerCase(authority.substr(authority.rfind('@') + 1));
  const std::string_view ownPort = scheme == "http" ? ":80" : ":443";
  if (authority.ends_with(ownPort)) authority.resize(authority.size() - ownPort.size());
  return authority.empty() ? std::string() : scheme + "://" + authority;
}

std::string accountServerOrigin() {
  std::set<std::string> origins;
  for (const char* key : accountServerKeys) origins.insert(originOf(configuredUrl(key)));
  origins.erase("");
  return joined(origins);
}

std::string scriptServicesOrigin(const Platform& platform) {
  const std::string file = KBL::Environment::variable("MEDIATRANSFER_SERVICES");
  if (file.empty()) return publicServices;
  // The table has the form of a cloud configuration, which nothing else of a scripted command asks.
  if (const std::string trouble = KBL::loadCloudConfig(file); !trouble.empty()) {
    throw Failure(Cause::call, "the addresses in '" + file +
                                   "' (MEDIATRANSFER_SERVICES) cannot be used: give a JSON object from key "
                                   "to address");
  }
  std::set<std::string> origins;
  for (const char* key : platform.scriptServices) {
    if (key == nullptr) break;
    const std::string url = configuredUrl(key);
    origins.insert(url.empty() ? publicServices : originOf(url));
  }
  KBL::clearCloudConfig();
  return joined(origins);
}

std::string mediaServiceOrigin(const MediaService& service) {
  const std::string url = configuredUrl(service.hostKey);
  return url.empty() ? publicServices : originOf(url);
}

}  // namespace host
