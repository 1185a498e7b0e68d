// Stands in for libcurl where a program is loaded: says of itself what the environment says. Anything but
// that question and the setting up ends the program (OtherCurlRest.cpp).
#include <curl/curl.h>

#include <cstdio>
#include <cstdlib>

namespace {

const char* variable(const char* name) {
  const char* const value = std::getenv(name);
  return value == nullptr ? "" : value;
}

}  // namespace

extern "C" __attribute__((visibility("default"))) curl_version_info_data* curl_version_info(CURLversion) {
  static const char* protocols[] = {"file", "http", variable("OTHER_CURL_PROTOCOL"), nullptr};
  static curl_version_info_data data{};
  data.age = CURLVERSION_NOW;
  data.version = variable("OTHER_CURL_VERSION");
  data.version_num = static_cast<unsigned int>(std::strtoul(variable("OTHER_CURL_NUMBER"), nullptr, 16));
  data.protocols = protocols;
  return &data;
}

extern "C" __attribute__((visibility("default"))) CURLcode curl_global_init(long) {
  std::puts("set up");
  return CURLE_FAILED_INIT;
}
