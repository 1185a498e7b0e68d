#include "media_tasks/CurlMediaFetcher.h"

#include "foundation/tls/CurlFitness.h"
#include "foundation/tls/CurlStay.h"
#include <KblUtils/HostCode.h>

#include <curl/curl.h>

#include <memory>
#include <string_view>

namespace KBL {

namespace {

constexpr const char* userAgent = "Mozilla/4.0 (compatible; MSIE 8.0; Windows NT 6.1)";
constexpr long connectTimeoutMs = 30000;
/// The meter in doubles, which the later one in integers has replaced in libcurl's own names.
constexpr auto progressFunctionOption = static_cast<CURLoption>(CURLOPTTYPE_FUNCTIONPOINT + 56);

/// libcurl's own words, which hosts hear for an address as well that libcurl is not even asked for.
constexpr const char* unsupportedProtocol = "Unsupported protocol";
/// A packed body of a few kilobytes may unpack to gigabytes. What is larger than this is taken only as long
/// as it has so many times the size of what came over the wire: no picture or video is packed that tightly.
constexpr std::size_t freelyInflatedBytes = std::size_t{64} << 20;
constexpr std::size_t largestInflation = 100;

bool isWeb(std::string_view scheme) {
  const auto is = [&](const char* name) {
    return scheme.size() == std::string_view(name).size() &&
           curl_strnequal(scheme.data(), name, scheme.size());
  };
  return is("http") || is("https");
}

/// Whoever named the address, a host or a service, has no business with local files or the other protocols
/// that libcurl speaks. An address without a scheme is libcurl's to read.
bool namesAnotherProtocol(std::string_view url) {
  const std::size_t colon = url.find_first_of(":/?#");
  const bool hasScheme = colon != std::string_view::npos && url.substr(colon, 2) == ":/";
  return hasScheme && !isWeb(url.substr(0, colon));
}

/// The same of a transfer that has its connection, also behind a redirection.
bool speaksAnotherProtocol(CURL* easy) {
  const char* scheme = nullptr;
  if (curl_easy_getinfo(easy, CURLINFO_SCHEME, &scheme) != CURLE_OK || scheme == nullptr) return false;
  return !isWeb(scheme);
}

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

/// One fetch with its handle, which libcurl's entries get.
class CurlFetch {
 public:
  CurlFetch(CURL* easy, std::size_t largestBody, FetchListener& listener)
      : easy_(easy), largestBody_(largestBody), listener_(listener) {}

  [[nodiscard]] FetchResult run(const std::string& url);

 private:
  [[nodiscard]] CURLcode perform(const std::string& url);
  [[nodiscard]] bool take(const char* data, std::size_t size);
  [[nodiscard]] bool goesOn(const FetchBeat& beat);
  [[nodiscard]] bool isRefused(double announcedBytes);
  [[nodiscard]] bool isInflated(std::size_t size) const;
  static std::size_t writeEntry(char* data, std::size_t size, std::size_t count, void* fetch);
  static int progressEntry(void* fetch, double total, double now, double uploadTotal, double uploadNow);

  CURL* const easy_;
  const std::size_t largestBody_;
  FetchListener& listener_;
  std::size_t takenBytes_ = 0;
  CURLcode refusal_ = CURLE_OK;  // what a fetch ends with that the meter has refused
  bool processEnds_ = false;
};

FetchResult CurlFetch::run(const std::string& url) {
  const CURLcode result = perform(url);
  long status = 0;
  (void)curl_easy_getinfo(easy_, CURLINFO_RESPONSE_CODE, &status);
  if (result == CURLE_OK) return {FetchResult::End::good, {}, status};
  if (processEnds_) return {FetchResult::End::processEnds, curl_easy_strerror(result), status};
  if (refusal_ == CURLE_UNSUPPORTED_PROTOCOL) return {FetchResult::End::failed, unsupportedProtocol, status};
  return {FetchResult::End::failed, curl_easy_strerror(refusal_ == CURLE_OK ? result : refusal_), status};
}

CURLcode CurlFetch::perform(const std::string& url) {
  const CURLcode refused = Settings(easy_)
                               .set(CURLOPT_SSLVERSION, static_cast<long>(CURL_SSLVERSION_TLSv1_2))
                               .set(CURLOPT_URL, url.c_str())
                               .set(CURLOPT_CONNECTTIMEOUT_MS, connectTimeoutMs)
                               .set(CURLOPT_FOLLOWLOCATION, 1L)
                               .set(CURLOPT_USERAGENT, userAgent)
                               .set(CURLOPT_WRITEFUNCTION, &CurlFetch::writeEntry)
                               .set(CURLOPT_WRITEDATA, static_cast<void*>(this))
                               .set(CURLOPT_ACCEPT_ENCODING, "gzip, deflate")
                               .set(CURLOPT_SSL_VERIFYPEER, 1L)
                               .set(progressFunctionOption, &CurlFetch::progressEntry)
                               .set(CURLOPT_PROGRESSDATA, static_cast<void*>(this))
                               .set(CURLOPT_NOPROGRESS, 0L)
                               .result();
  return refused == CURLE_OK ? curl_easy_perform(easy_) : refused;
}

bool CurlFetch::take(const char* data, std::size_t size) {
  if (size > largestBody_ - takenBytes_ || isInflated(takenBytes_ + size)) return false;
  if (!listener_.takePiece(data, size)) return false;
  takenBytes_ += size;
  return true;
}

bool CurlFetch::isInflated(std::size_t size) const {
  if (size <= freelyInflatedBytes) return false;
  curl_off_t received = 0;
  const CURLcode known = curl_easy_getinfo(easy_, CURLINFO_SIZE_DOWNLOAD_T, &received);
  return known != CURLE_OK || size / largestInflation > static_cast<std::size_t>(received);
}

bool CurlFetch::goesOn(const FetchBeat& beat) {
  processEnds_ = processEnds_ || CurlStay::isClosing();
  return !processEnds_ && !isRefused(beat.total) && listener_.goesOn(beat);
}

/// What the meter refuses, as soon as it is known. A body that is announced too large ends as one that is.
bool CurlFetch::isRefused(double announcedBytes) {
  if (speaksAnotherProtocol(easy_)) {
    refusal_ = CURLE_UNSUPPORTED_PROTOCOL;
  } else if (announcedBytes > static_cast<double>(largestBody_)) {
    refusal_ = CURLE_WRITE_ERROR;
  }
  return refusal_ != CURLE_OK;
}

// No exception may pass through libcurl: want of memory ends the fetch.

std::size_t CurlFetch::writeEntry(char* data, std::size_t size, std::size_t count, void* fetch) {
  const std::size_t bytes = size * count;
  try {
    if (static_cast<CurlFetch*>(fetch)->take(data, bytes)) return bytes;
  } catch (...) {
    passThreadEnd();
  }
  return 0;
}

int CurlFetch::progressEntry(void* fetch, double total, double now, double uploadTotal, double uploadNow) {
  try {
    if (static_cast<CurlFetch*>(fetch)->goesOn({total, now, uploadTotal, uploadNow})) return 0;
  } catch (...) {
    passThreadEnd();
  }
  return 1;
}

}  // namespace

FetchResult CurlMediaFetcher::fetch(const std::string& url, std::size_t largestBody,
                                    FetchListener& listener) {
  FetchResult result = fetchInside(url, largestBody, listener);
  tellOfUnfitCurl();
  return result;
}

FetchResult CurlMediaFetcher::fetchInside(const std::string& url, std::size_t largestBody,
                                          FetchListener& listener) {
  const CurlStay stay;
  if (!stay.isGranted()) return {FetchResult::End::processEnds};
  if (!isCurlFit()) return {};
  if (namesAnotherProtocol(url)) return {FetchResult::End::failed, unsupportedProtocol};
  const EasyHandle easy(makeHandle_());
  if (!easy) return {};
  return CurlFetch(easy.get(), largestBody, listener).run(url);
}

MediaFetcher& curlMediaFetcher() {
  static CurlMediaFetcher fetcher(&curl_easy_init);
  return fetcher;
}

}  // namespace KBL
