#pragma once

#include <string>
#include <utility>
#include <vector>

namespace sandbox {

using Parameters = std::vector<std::pair<std::string, std::string>>;

/// The md5 signature of a request: the secret, then names and values of all parameters but "api_sig", sorted
/// by name.
[[nodiscard]] std::string flickrMd5Signature(const std::string& secret, Parameters parameters);

/// The OAuth 1.0 signature of a request by HMAC-SHA1, over all parameters but "oauth_signature".
[[nodiscard]] std::string oauthSignature(const std::string& url, Parameters parameters,
                                         const std::string& consumerSecret, const std::string& tokenSecret,
                                         const std::string& method = "GET");

/// The signature of an Instagram request: HMAC-SHA256 over the endpoint and its parameters but "sig", sorted.
[[nodiscard]] std::string instagramSignature(const std::string& endpoint, Parameters parameters,
                                             const std::string& secret);

}  // namespace sandbox
