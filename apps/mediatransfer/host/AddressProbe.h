#pragma once

#include "options/ProxyUrl.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace host {

/// What came of a question to an address; every answer is one, whatever its status.
struct ProbeResult {
  std::string address;
  int code = 0;         ///< of the library; 0: it answered
  std::string text;     ///< of a failed transport
  std::string date;     ///< of the answer; empty without one
  std::int64_t at = 0;  ///< seconds since the epoch, here, when the answer had come
};

/// Asks all addresses at once, through the proxy where there is one. `wait` is called about ten times a
/// second meanwhile; false ends the questions, and nothing is returned.
[[nodiscard]] std::optional<std::vector<ProbeResult>> probeAddresses(
    const std::vector<std::string>& addresses, const std::optional<ProxyAddress>& proxy,
    const std::function<bool()>& wait, std::chrono::milliseconds limit = std::chrono::seconds(10));

/// Seconds since the epoch of "Sun, 06 Nov 1994 08:49:37 GMT"; nothing for another text.
[[nodiscard]] std::optional<std::int64_t> secondsOfHttpDate(const std::string& text);

}  // namespace host
