#include "sandbox/base/MediaAccounts.h"

namespace sandbox {

namespace {

MediaAccount accountOf(const std::string& name) {
  return {"facebook-token-" + name, "flickr-token-" + name + "|flickr-secret-" + name,
          "|flickr-token-" + name, "instagram-token-" + name};
}

}  // namespace

std::string accountName(const User& user) {
  std::string text;
  for (const char character : user.givenName) {
    if (character >= 'A' && character <= 'Z') text += static_cast<char>(character - 'A' + 'a');
    if (character >= 'a' && character <= 'z') text += character;
  }
  return text.empty() ? user.openId : text;
}

MediaAccount mediaAccount(const User& user) {
  return accountOf(accountName(user));
}

MediaAccount firstMediaAccount() {
  return accountOf("ada");
}

}  // namespace sandbox
