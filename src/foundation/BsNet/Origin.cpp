#include "foundation/BsNet/Origin.h"

#include "foundation/BsNet/CurlHandle.h"

#include <algorithm>

namespace KBL {
namespace {

std::string lowered(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
  return text;
}

std::string partOf(CURLU* url, CURLUPart part) {
  char* text = nullptr;
  if (curl_url_get(url, part, &text, CURLU_DEFAULT_PORT) != CURLUE_OK) return {};
  const std::unique_ptr<char, decltype(&curl_free)> owned(text, &curl_free);
  return lowered(text);
}

}  // namespace

Origin originOf(const std::string& address) {
  const CurlUrl url(curl_url());
  if (url == nullptr || curl_url_set(url.get(), CURLUPART_URL, address.c_str(), 0) != CURLUE_OK) return {};
  return {partOf(url.get(), CURLUPART_SCHEME), partOf(url.get(), CURLUPART_HOST),
          partOf(url.get(), CURLUPART_PORT)};
}

}  // namespace KBL
