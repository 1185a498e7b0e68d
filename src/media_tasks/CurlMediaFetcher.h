#pragma once

#include "media_tasks/MediaFetcher.h"

namespace KBL {

/// The fetcher over libcurl, a handle for each fetch: plain GETs whose packed bodies may not unpack to too
/// much. A fetch stays in libcurl (`CurlStay`) and ends soon once the process does. A server that can't be
/// reached is given up after 30 s; how long one may be silent or slow is the listener's to say.
class CurlMediaFetcher final : public MediaFetcher {
 public:
  using MakeHandle = void* (*)();  ///< gives an easy handle, or null

  explicit constexpr CurlMediaFetcher(MakeHandle makeHandle) : makeHandle_(makeHandle) {}

  [[nodiscard]] FetchResult fetch(const std::string& url, std::size_t largestBody,
                                  FetchListener& listener) override;

 private:
  [[nodiscard]] FetchResult fetchInside(const std::string& url, std::size_t largestBody,
                                        FetchListener& listener);

  const MakeHandle makeHandle_;
};

/// The one of this process, which outlives every thread.
[[nodiscard]] MediaFetcher& curlMediaFetcher();

}  // namespace KBL
