#include "foundation/tls/CurlFitness.h"

#include "foundation/neverFreed.h"
#include <KblLogger/KblLogger.h>

#include <curl/curl.h>

#include <atomic>
#include <string>
#include <string_view>

namespace KBL {
namespace {

/// The first that knows every option that is set here; the last to come was CURLOPT_QUICK_EXIT.
constexpr unsigned int oldestVersion = 0x075700;
constexpr const char* oldestName = "7.87.0";

bool speaks(const curl_version_info_data& library, std::string_view protocol) {
  for (const char* const* one = library.protocols; one != nullptr && *one != nullptr; ++one) {
    if (*one == protocol) return true;
  }
  return false;
}

/// What the log has yet to be told.
std::atomic<const std::string*> untold = nullptr;

/// Empty where nothing is wrong.
const std::string& whatIsWrong() {
  static const std::string& text = neverFreed<std::string>([] {
    const curl_version_info_data* const library = curl_version_info(CURLVERSION_NOW);
    if (library->version_num >= oldestVersion && speaks(*library, "http") && speaks(*library, "https"))
      return std::string();
    return std::string("libcurl ") + library->version + " cannot serve: " + oldestName +
           " or later with HTTP and HTTPS is needed; no exchange can be made";
  }());
  return text;
}

}  // namespace

bool isCurlFit() {
  static const bool isFit = [] {
    const std::string& wrong = whatIsWrong();
    if (!wrong.empty()) untold = &wrong;
    return wrong.empty();
  }();
  return isFit;
}

void tellOfUnfitCurl() {
  if (untold == nullptr) return;
  if (const std::string* const reason = untold.exchange(nullptr)) KBL_LOG(severityError, *reason);
}

}  // namespace KBL
