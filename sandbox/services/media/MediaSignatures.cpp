#include "sandbox/services/media/MediaSignatures.h"

#include "sandbox/base/Text.h"

#include <openssl/evp.h>
#include <openssl/hmac.h>

#include <algorithm>
#include <array>
#include <stdexcept>
#include <string_view>

namespace sandbox {

namespace {

struct Digest {
  std::array<unsigned char, EVP_MAX_MD_SIZE> bytes{};
  unsigned size = 0;

  [[nodiscard]] std::string_view text() const { return {reinterpret_cast<const char*>(bytes.data()), size}; }
};

const unsigned char* bytesOf(const std::string& text) {
  return reinterpret_cast<const unsigned char*>(text.data());
}

Digest hmac(const EVP_MD* kind, const std::string& key, const std::string& message) {
  Digest digest;
  if (HMAC(kind, key.data(), static_cast<int>(key.size()), bytesOf(message), message.size(),
           digest.bytes.data(), &digest.size) == nullptr) {
    throw std::runtime_error("HMAC failed");
  }
  return digest;
}

void leaveOut(Parameters& parameters, std::string_view name) {
  std::erase_if(parameters, [&](const auto& parameter) { return parameter.first == name; });
}

}  // namespace

std::string flickrMd5Signature(const std::string& secret, Parameters parameters) {
  leaveOut(parameters, "api_sig");
  std::sort(parameters.begin(), parameters.end());
  std::string text = secret;
  for (const auto& [name, value] : parameters) text += name + value;
  Digest digest;
  if (EVP_Digest(text.data(), text.size(), digest.bytes.data(), &digest.size, EVP_md5(), nullptr) != 1) {
    throw std::runtime_error("MD5 failed");
  }
  return hexText(digest.text());
}

std::string oauthSignature(const std::string& url, Parameters parameters, const std::string& consumerSecret,
                           const std::string& tokenSecret, const std::string& method) {
  leaveOut(parameters, "oauth_signature");
  for (auto& [name, value] : parameters) {
    name = percentEncoded(name);
    value = percentEncoded(value);
  }
  std::sort(parameters.begin(), parameters.end());
  std::string normalized;
  for (const auto& [name, value] : parameters) {
    if (!normalized.empty()) normalized += '&';
    normalized.append(name).append("=").append(value);
  }
  const std::string base = method + "&" + percentEncoded(url) + "&" + percentEncoded(normalized);
  const Digest digest =
      hmac(EVP_sha1(), percentEncoded(consumerSecret) + "&" + percentEncoded(tokenSecret), base);
  return base64(digest.text());
}

std::string instagramSignature(const std::string& endpoint, Parameters parameters,
                               const std::string& secret) {
  leaveOut(parameters, "sig");
  std::sort(parameters.begin(), parameters.end());
  std::string text = endpoint;
  for (const auto& [name, value] : parameters) text.append("|").append(name).append("=").append(value);
  return hexText(hmac(EVP_sha256(), secret, text).text());
}

}  // namespace sandbox
