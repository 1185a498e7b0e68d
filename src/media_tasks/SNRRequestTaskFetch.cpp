// The fetch of the task base: the one place of the media tasks that talks to libcurl.
#include "media_tasks/FetchGate.h"
#include "media_tasks/SNRRequestTask.h"

#include <curl/curl.h>

#include <memory>
#include <utility>

namespace KBL {

namespace {

constexpr const char* userAgent = "Mozilla/4.0 (compatible; MSIE 8.0; Windows NT 6.1)";
constexpr long connectTimeoutMs = 30000;
/// The meter in doubles, which the later one in integers has replaced in libcurl's own names.
constexpr auto progressFunctionOption = static_cast<CURLoption>(CURLOPTTYPE_FUNCTIONPOINT + 56);

struct EasyCleanup {
  void operator()(CURL* easy) const { curl_easy_cleanup(easy); }
};
using EasyHandle = std::unique_ptr<CURL, EasyCleanup>;

/// Sets options until one is refused, which is kept.
class Settings {
 public:
  explicit Settings(CURL* easy) : easy_(easy) {}

  template <class Value>
  Settings& set(CURLoption option, Value value) {
    if (result_ == CURLE_OK) result_ = curl_easy_setopt(easy_, option, value);
    return *this;
  }
  [[nodiscard]] CURLcode result() const { return result_; }

 private:
  CURL* easy_;
  CURLcode result_ = CURLE_OK;
};

}  // namespace

bool SNRRequestTask::Fetch(const std::string& url, std::string& body) {
  lastChangeTime_ = 0;
  lastByteCount_ = -1.0;
  const FetchPass pass;
  if (!pass.isGranted()) {
    cancel();
    return false;
  }
  const EasyHandle easy(curl_easy_init());
  if (!easy) return false;
  const bool fetched = perform(easy.get(), url);
  body = std::exchange(responseBuffer_, {});
  return fetched;
}

bool SNRRequestTask::perform(void* easyHandle, const std::string& url) {
  const CURLcode refused = Settings(easyHandle)
                               .set(CURLOPT_SSLVERSION, static_cast<long>(CURL_SSLVERSION_TLSv1_2))
                               .set(CURLOPT_URL, url.c_str())
                               .set(CURLOPT_CONNECTTIMEOUT_MS, connectTimeoutMs)
                               .set(CURLOPT_FOLLOWLOCATION, 1L)
                               .set(CURLOPT_USERAGENT, userAgent)
                               .set(CURLOPT_WRITEFUNCTION, &SNRRequestTask::writeEntry)
                               .set(CURLOPT_WRITEDATA, static_cast<void*>(this))
                               .set(CURLOPT_ACCEPT_ENCODING, "gzip, deflate")
                               .set(CURLOPT_SSL_VERIFYPEER, 1L)
                               .set(progressFunctionOption, &SNRRequestTask::progressEntry)
                               .set(CURLOPT_PROGRESSDATA, static_cast<void*>(this))
                               .set(CURLOPT_NOPROGRESS, 0L)
                               .result();
  const CURLcode result = refused == CURLE_OK ? curl_easy_perform(easyHandle) : refused;
  if (result != CURLE_OK) errorText_ = curl_easy_strerror(result);
  return result == CURLE_OK;
}

// No exception may pass through libcurl: one of a host's callback, or for want of memory, ends the fetch.

std::size_t SNRRequestTask::writeEntry(char* data, std::size_t size, std::size_t count, void* task) {
  try {
    return static_cast<SNRRequestTask*>(task)->OnWrite(data, size * count);
  } catch (...) {
    return 0;
  }
}

int SNRRequestTask::progressEntry(void* task, double total, double now, double uploadTotal,
                                  double uploadNow) {
  auto* const self = static_cast<SNRRequestTask*>(task);
  if (fetchGate().isClosing()) self->cancel();
  try {
    return self->OnProgress(total, now, uploadTotal, uploadNow);
  } catch (...) {
    return 1;
  }
}

}  // namespace KBL
