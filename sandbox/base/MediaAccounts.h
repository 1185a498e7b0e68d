#pragma once

#include "sandbox/base/Account.h"

#include <string>

namespace sandbox {

/// What signs a user in at the media services. It is the same in every sandbox, so that it can be written
/// down; "ada" stands for the first of the made-up users, the given name in small letters.
struct MediaAccount {
  std::string facebookToken;   ///< "facebook-token-ada"
  std::string flickrPair;      ///< "flickr-token-ada|flickr-secret-ada", for the OAuth signature
  std::string flickrToken;     ///< "|flickr-token-ada", for the md5 signature
  std::string instagramToken;  ///< "instagram-token-ada"
};

/// The user's name at services that want one without blanks: the given name in small letters.
[[nodiscard]] std::string accountName(const User& user);
[[nodiscard]] MediaAccount mediaAccount(const User& user);
/// That of the first of the made-up users.
[[nodiscard]] MediaAccount firstMediaAccount();

/// The application that the media services know.
inline constexpr const char* flickrApplicationKey = "flickr-application-key";
inline constexpr const char* flickrApplicationSecret = "flickr-application-secret";
inline constexpr const char* instagramApplicationSecret = "0123456789abcdef0123456789abcdef";

}  // namespace sandbox
