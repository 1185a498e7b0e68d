#include "sandbox/services/Service.h"

#include "sandbox/base/JsonText.h"
#include "sandbox/base/Text.h"

namespace sandbox {

namespace {

std::string tableJson(const std::map<std::string, std::string>& table) {
  Json::Value value(Json::objectValue);
  for (const auto& [key, url] : table) value[key] = url;
  return readableJson(value) + "\n";
}

}  // namespace

std::string ServiceContext::cloudConfigJson() const {
  return tableJson(cloudConfig);
}

std::string ServiceContext::scriptServicesJson() const {
  return tableJson(scriptServices);
}

bool ServiceContext::isGoodAccountToken(const std::string& token) const {
  if (token.empty()) return false;
  state.load();
  return accounts.isGoodAccountToken(token);
}

std::optional<User> ServiceContext::userOf(const std::string& accessToken, Platform platform) const {
  if (accessToken.empty()) return std::nullopt;
  state.load();
  return accounts.userOf(accessToken, platform);
}

std::optional<TokenState> ServiceContext::token(const std::string& text) const {
  state.load();
  return accounts.token(text);
}

std::optional<IssuedTokens> ServiceContext::spend(const std::string& refreshToken) const {
  std::optional<IssuedTokens> tokens;
  state.save([&] { tokens = accounts.refresh(refreshToken); });
  return tokens;
}

Arrival ServiceContext::arrivalOf(const UploadRecord& upload) const {
  return {arrivals, upload.uploadId, upload.service, upload.announcedSize};
}

Arrival ServiceContext::newArrival(const std::string& service, std::uint64_t announced) const {
  constexpr std::size_t uploadIdLength = 40;
  return {arrivals, randomText(uploadIdLength), service, announced};
}

bool ServiceContext::knowsUser(const std::string& openId) const {
  if (!accounts.user(openId)) state.load();
  return accounts.user(openId).has_value();
}

}  // namespace sandbox
