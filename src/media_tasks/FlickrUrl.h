#pragma once

#include <cstdint>
#include <string>

namespace KBL {

/// What a user's requests to Flickr are signed with. Texts stand in addresses as they are.
struct FlickrCredentials {
  /// Splits "TOKEN|SECRET" at its first bar. A text that starts with a bar is a token as a whole, bar
  /// included, and has no secret. A text without a bar is both token and secret: this is required, and sends
  /// every such token down the OAuth way.
  FlickrCredentials(std::string applicationKey, std::string applicationSecret, const std::string& tokenPair);

  [[nodiscard]] bool isOauth() const { return !tokenSecret.empty(); }

  std::string token;
  std::string tokenSecret;
  std::string applicationKey;
  std::string applicationSecret;
};

/// The address of one page of the user's photos, signed in the generation that the credentials call for: the
/// md5 signature, or OAuth 1.0 with HMAC-SHA1, for which `epochMs`, the time in milliseconds, is the nonce.
[[nodiscard]] std::string flickrPageUrl(const FlickrCredentials& credentials, const std::string& host,
                                        int page, int perPage, std::uint64_t epochMs);

/// The text whose HMAC-SHA1 signs a page's address.
[[nodiscard]] std::string flickrBaseString(const FlickrCredentials& credentials, const std::string& host,
                                           int page, int perPage, std::uint64_t epochMs);

}  // namespace KBL
