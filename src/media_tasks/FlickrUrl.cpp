#include "media_tasks/FlickrUrl.h"

#include "media_tasks/signing.h"

#include <initializer_list>
#include <utility>

namespace KBL {

namespace {

constexpr const char* method = "flickr.photos.getWithoutGeoData";
constexpr const char* encodedExtras = "original_format%2Curl_o";
constexpr const char* requestPath = "/services/rest";
constexpr const char* emptyBodyHash = "2jmj7l5rSw0yVb/vlWAYkK/YBwk=";  // Base64 of the SHA-1 of nothing
constexpr const char* signatureMethod = "HMAC-SHA1";
constexpr const char* oauthVersion = "1.0";

/// Texts of the md5 generation are cut to what the service's first clients could hold.
constexpr std::size_t longestMd5Text = 2047;

using Pairs = std::initializer_list<std::pair<const char*, std::string>>;

std::string joined(Pairs pairs) {
  std::string text;
  for (const auto& [key, value] : pairs) {
    if (!text.empty()) text += '&';
    text += key;
    text += value;
  }
  return text;
}

std::string cut(std::string text) {
  if (text.size() > longestMd5Text) text.resize(longestMd5Text);
  return text;
}

std::string md5PageUrl(const FlickrCredentials& credentials, const std::string& host, int page, int perPage) {
  const std::string pageText = std::to_string(page);
  const std::string perPageText = std::to_string(perPage);
  const std::string signature =
      md5Hex(cut(credentials.applicationSecret + "api_key" + credentials.applicationKey + "auth_token" +
                 credentials.token + "extrasoriginal_format,url_oformatjsonmethod" + method +
                 "nojsoncallback1page" + pageText + "per_page" + perPageText));
  return cut(host + requestPath + "/?method=" + method + "&api_key=" + credentials.applicationKey +
             "&auth_token=" + credentials.token + "&format=json&nojsoncallback=1&extras=" + encodedExtras +
             "&api_sig=" + signature + "&page=" + pageText + "&per_page=" + perPageText);
}

std::string oauthPageUrl(const FlickrCredentials& credentials, const std::string& host, int page, int perPage,
                         std::uint64_t epochMs) {
  const std::string key = credentials.applicationSecret + "&" + credentials.tokenSecret;
  const std::string signature =
      base64(hmacSha1(key, flickrBaseString(credentials, host, page, perPage, epochMs)));
  // Not the order that was signed, and the body hash not encoded: the service sorts and decodes for itself.
  return host + requestPath + "?" +
         joined({{"oauth_body_hash=", emptyBodyHash},
                 {"nojsoncallback=", "1"},
                 {"oauth_nonce=", std::to_string(epochMs)},
                 {"format=", "json"},
                 {"oauth_consumer_key=", credentials.applicationKey},
                 {"oauth_timestamp=", std::to_string(epochMs / 1000)},
                 {"oauth_signature_method=", signatureMethod},
                 {"oauth_version=", oauthVersion},
                 {"extras=", encodedExtras},
                 {"oauth_token=", credentials.token},
                 {"oauth_signature=", percentEncoded(signature)},
                 {"api_key=", credentials.applicationKey},
                 {"method=", method},
                 {"page=", std::to_string(page)},
                 {"per_page=", std::to_string(perPage)}});
}

}  // namespace

FlickrCredentials::FlickrCredentials(std::string applicationKeyText, std::string applicationSecretText,
                                     const std::string& tokenPair)
    : token(tokenPair),
      applicationKey(std::move(applicationKeyText)),
      applicationSecret(std::move(applicationSecretText)) {
  const std::size_t bar = tokenPair.find('|');
  if (bar == 0) return;
  token = tokenPair.substr(0, bar);
  tokenSecret = bar == std::string::npos ? tokenPair : tokenPair.substr(bar + 1);
}

std::string flickrBaseString(const FlickrCredentials& credentials, const std::string& host, int page,
                             int perPage, std::uint64_t epochMs) {
  // The extras and the body hash come encoded and are encoded once more with the whole.
  const std::string parameters = joined({{"api_key=", credentials.applicationKey},
                                         {"extras=", encodedExtras},
                                         {"format=", "json"},
                                         {"method=", method},
                                         {"nojsoncallback=", "1"},
                                         {"oauth_body_hash=", percentEncoded(emptyBodyHash)},
                                         {"oauth_consumer_key=", credentials.applicationKey},
                                         {"oauth_nonce=", std::to_string(epochMs)},
                                         {"oauth_signature_method=", signatureMethod},
                                         {"oauth_timestamp=", std::to_string(epochMs / 1000)},
                                         {"oauth_token=", credentials.token},
                                         {"oauth_version=", oauthVersion},
                                         {"page=", std::to_string(page)},
                                         {"per_page=", std::to_string(perPage)}});
  return "GET&" + percentEncoded(host + requestPath) + "&" + percentEncoded(parameters);
}

std::string flickrPageUrl(const FlickrCredentials& credentials, const std::string& host, int page,
                          int perPage, std::uint64_t epochMs) {
  return credentials.isOauth() ? oauthPageUrl(credentials, host, page, perPage, epochMs)
                               : md5PageUrl(credentials, host, page, perPage);
}

}  // namespace KBL
