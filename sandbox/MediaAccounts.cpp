#include "sandbox/MediaAccounts.h"

namespace sandbox {

namespace {

std::string handle(const User& user) {
  std::string text;
  for (const char character : user.givenName) {
    if (character >= 'A' && character <= 'Z') text += static_cast<char>(character - 'A' + 'a');
    if (character >= 'a' && character <= 'z') text += character;
  }
  return text.empty() ? user.openId : text;
}

MediaAccount accountOf(const std::string& name) {
  return {"facebook-token-" + name, "flickr-token-" + name + "|flickr-secret-" + name,
          "|flickr-token-" + name, "instagram-token-" + name};
}

}  // namespace

MediaAccount mediaAccount(const User& user) {
  return accountOf(handle(user));
}

MediaAccount firstMediaAccount() {
  return accountOf("ada");
}

}  // namespace sandbox
