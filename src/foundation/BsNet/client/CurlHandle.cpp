#include "foundation/BsNet/client/CurlHandle.h"

#include "foundation/neverFreed.h"
#include <KblLogger/KblLogger.h>

#include <array>
#include <atomic>
#include <mutex>
#include <string>
#include <string_view>

namespace KBL {
namespace {

using ShareLocks = std::array<std::mutex, CURL_LOCK_DATA_LAST>;

void lockShare(CURL*, curl_lock_data data, curl_lock_access, void* locks) {
  (*static_cast<ShareLocks*>(locks))[static_cast<std::size_t>(data)].lock();
}

void unlockShare(CURL*, curl_lock_data data, void* locks) {
  (*static_cast<ShareLocks*>(locks))[static_cast<std::size_t>(data)].unlock();
}

CURLSH* makeShare() {
  CURLSH* const share = curl_share_init();
  if (share == nullptr) return nullptr;
  auto* const locks = new ShareLocks;
  const bool isSet = curl_share_setopt(share, CURLSHOPT_USERDATA, locks) == CURLSHE_OK &&
                     curl_share_setopt(share, CURLSHOPT_LOCKFUNC, &lockShare) == CURLSHE_OK &&
                     curl_share_setopt(share, CURLSHOPT_UNLOCKFUNC, &unlockShare) == CURLSHE_OK &&
                     curl_share_setopt(share, CURLSHOPT_SHARE, CURL_LOCK_DATA_DNS) == CURLSHE_OK &&
                     curl_share_setopt(share, CURLSHOPT_SHARE, CURL_LOCK_DATA_SSL_SESSION) == CURLSHE_OK;
  if (isSet) return share;
  curl_share_cleanup(share);
  delete locks;
  return nullptr;
}

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

/// Why the libcurl that was loaded, which need not be the one that we were built with, cannot serve; empty
/// when it can. Asked before anything else of it is called.
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

bool isCurlReady() {
  static const bool isReady = [] {
    const std::string& wrong = whatIsWrong();
    if (!wrong.empty()) untold = &wrong;
    return wrong.empty() && curl_global_init(CURL_GLOBAL_ALL) == CURLE_OK;
  }();
  return isReady;
}

void tellOfUnfitCurl() {
  if (const std::string* const reason = untold.exchange(nullptr)) KBL_LOG(severityError, *reason);
}

CURLSH* curlShare() {
  static CURLSH* const share = makeShare();
  return share;
}

}  // namespace KBL
