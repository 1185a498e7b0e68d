#include "sandbox/services/Service.h"

#include "sandbox/JsonText.h"
#include "sandbox/services/AccountServer.h"
#include "sandbox/services/Avatar.h"
#include "sandbox/services/ConsentPage.h"
#include "sandbox/services/DouyinProfile.h"
#include "sandbox/services/DouyinUpload.h"
#include "sandbox/services/FacebookAccount.h"
#include "sandbox/services/FacebookGraph.h"
#include "sandbox/services/FacebookVideos.h"
#include "sandbox/services/FlickrPublishing.h"
#include "sandbox/services/FlickrRest.h"
#include "sandbox/services/GoogleAccount.h"
#include "sandbox/services/GoogleProfile.h"
#include "sandbox/services/Inspection.h"
#include "sandbox/services/InstagramAccount.h"
#include "sandbox/services/InstagramApi.h"
#include "sandbox/services/InstagramReels.h"
#include "sandbox/services/MediaFiles.h"
#include "sandbox/services/TiktokProfile.h"
#include "sandbox/services/TiktokUpload.h"
#include "sandbox/services/TwitchAccount.h"
#include "sandbox/services/TwitchVideos.h"
#include "sandbox/services/VimeoAccount.h"
#include "sandbox/services/VimeoVideos.h"
#include "sandbox/services/YoutubeUpload.h"

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
  if (!accounts.token(token)) state.load();
  return accounts.isGoodAccountToken(token);
}

std::optional<User> ServiceContext::userOf(const std::string& accessToken, Platform platform) const {
  if (accessToken.empty()) return std::nullopt;
  if (!accounts.token(accessToken)) state.load();
  return accounts.userOf(accessToken, platform);
}

bool ServiceContext::knowsUser(const std::string& openId) const {
  if (!accounts.user(openId)) state.load();
  return accounts.user(openId).has_value();
}

std::vector<std::unique_ptr<Service>> makeServices(ServiceContext& context) {
  std::vector<std::unique_ptr<Service>> services;
  services.push_back(std::make_unique<AccountServer>(context));
  services.push_back(std::make_unique<ConsentPage>(context));
  services.push_back(std::make_unique<GoogleProfile>(context));
  services.push_back(std::make_unique<Avatar>(context));
  services.push_back(std::make_unique<YoutubeUpload>(context));
  services.push_back(std::make_unique<TiktokProfile>(context));
  services.push_back(std::make_unique<TiktokUpload>(context));
  services.push_back(std::make_unique<DouyinProfile>(context));
  services.push_back(std::make_unique<DouyinUpload>(context));
  services.push_back(std::make_unique<FacebookGraph>(context));
  services.push_back(std::make_unique<FlickrRest>(context));
  services.push_back(std::make_unique<InstagramApi>(context));
  services.push_back(std::make_unique<MediaFiles>(context));
  services.push_back(std::make_unique<FacebookAccount>(context));
  services.push_back(std::make_unique<FacebookVideos>(context));
  services.push_back(std::make_unique<FlickrPublishing>(context));
  services.push_back(std::make_unique<GoogleAccount>(context));
  services.push_back(std::make_unique<InstagramAccount>(context));
  services.push_back(std::make_unique<InstagramReels>(context));
  services.push_back(std::make_unique<TwitchAccount>(context));
  services.push_back(std::make_unique<TwitchVideos>(context));
  services.push_back(std::make_unique<VimeoAccount>(context));
  services.push_back(std::make_unique<VimeoVideos>(context));
  services.push_back(std::make_unique<Inspection>(context));
  return services;
}

}  // namespace sandbox
