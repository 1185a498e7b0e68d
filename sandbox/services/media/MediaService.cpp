#include "sandbox/services/media/MediaService.h"

#include "sandbox/base/JsonText.h"
#include "sandbox/base/Text.h"

namespace sandbox {

std::optional<std::size_t> MediaService::userWith(std::string MediaAccount::*field, const std::string& text,
                                                  Platform platform) const {
  const std::optional<User> signedIn = context_.userOf(text, platform);
  const std::vector<User> users = context_.accounts.users();
  for (std::size_t user = 0; user < users.size(); ++user) {
    const bool isGood = context_.accounts.isMediaTokenGood(platform, users[user].openId);
    if (isGood && mediaAccount(users[user]).*field == text) return user;
    if (signedIn && signedIn->openId == users[user].openId) return user;
  }
  return std::nullopt;
}

std::size_t MediaService::countParameter(const Call& call, const char* name, std::size_t otherwise) {
  unsigned long long number = 0;
  const bool isNumber = parseNumber(call.request.parameter(name).value_or(""), number);
  return isNumber && number > 0 ? static_cast<std::size_t>(number) : otherwise;
}

Reply MediaService::json(const Json::Value& value, int status) {
  Reply reply;
  reply.status = status;
  reply.body = compactJson(value);
  return reply;
}

std::string MediaService::pictureUrl(const std::string& id, unsigned width, unsigned height) const {
  return context_.baseUrl + MediaLibrary::picturePath(id, width, height);
}

}  // namespace sandbox
