#include "foundation/BsNet/client/CurlHandle.h"

#include "foundation/tls/CurlFitness.h"

#include <array>
#include <mutex>

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

}  // namespace

bool isCurlReady() {
  static const bool isReady = isCurlFit() && curl_global_init(CURL_GLOBAL_ALL) == CURLE_OK;
  return isReady;
}

CURLSH* curlShare() {
  static CURLSH* const share = makeShare();
  return share;
}

}  // namespace KBL
