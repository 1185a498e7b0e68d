#pragma once

#include "foundation/tls/CurlStay.h"

#include <curl/curl.h>

#include <memory>
#include <string>
#include <type_traits>

namespace KBL {

/// Ends a libcurl object, or parks it for good once the process is closing and libcurl must not be entered.
template <auto cleanup>
struct CurlCleanup {
  template <class Object>
  void operator()(Object* object) const {
    const CurlStay stay;
    if (stay.isGranted()) {
      cleanup(object);
    } else {
      CurlStay::park(object);
    }
  }
};

using CurlMulti = std::unique_ptr<CURLM, CurlCleanup<curl_multi_cleanup>>;
using CurlMime = std::unique_ptr<curl_mime, CurlCleanup<curl_mime_free>>;
using CurlList = std::unique_ptr<curl_slist, CurlCleanup<curl_slist_free_all>>;
using CurlUrl = std::unique_ptr<CURLU, CurlCleanup<curl_url_cleanup>>;

/// An easy handle; the one place that calls curl_easy_setopt. The first setting that libcurl refuses is kept
/// and every later one is left out, so that an exchange is made with all of its settings or not at all.
class CurlEasy {
 public:
  CurlEasy() : handle_(curl_easy_init()) {}

  [[nodiscard]] CURL* get() const { return handle_.get(); }
  [[nodiscard]] CURLcode failure() const { return failure_; }

  /// Forgets all settings and the failure; connections and shares stay.
  void reset() {
    curl_easy_reset(handle_.get());
    failure_ = CURLE_OK;
  }

  /// Keeps a failure of what was to be set, as if libcurl had refused it.
  void fail(CURLcode why) {
    if (failure_ == CURLE_OK) failure_ = why;
  }

  template <class Value>
  void set(CURLoption option, Value value) {
    static_assert(
        std::is_pointer_v<Value> || std::is_same_v<Value, long> || std::is_same_v<Value, curl_off_t>,
        "libcurl reads numbers as long or curl_off_t");
    if (failure_ == CURLE_OK) failure_ = curl_easy_setopt(handle_.get(), option, value);
  }
  void set(CURLoption option, const std::string& text) { set(option, text.c_str()); }

  template <class Value>
  [[nodiscard]] Value info(CURLINFO what, Value fallback) const {
    Value value = fallback;
    return curl_easy_getinfo(handle_.get(), what, &value) == CURLE_OK ? value : fallback;
  }

 private:
  std::unique_ptr<CURL, CurlCleanup<curl_easy_cleanup>> handle_;
  CURLcode failure_ = CURLE_OK;
};

/// Sets libcurl up, once a process; true when it can be used, which one that is not fit can't. Any thread.
[[nodiscard]] bool isCurlReady();

/// What the clients of the process share: resolved names and TLS sessions. Made on first use and never freed,
/// since workers may outlive the exit handlers; null when memory is short. Any thread.
[[nodiscard]] CURLSH* curlShare();

/// What a raw transport code means, for people; never null.
[[nodiscard]] const char* transportFailureText(int transportCode);

}  // namespace KBL
