#pragma once

#include "sandbox/base/Fault.h"
#include "sandbox/base/Route.h"

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace sandbox {

/// One request as it arrived, and what became of it.
struct RecordedRequest {
  std::uint64_t serial = 0;      ///< counts all requests of a sandbox from 1
  std::uint64_t connection = 0;  ///< counts connections from 1: equal numbers mean a reused connection
  std::chrono::system_clock::time_point time;
  Route route = Route::unknown;
  std::string method;
  std::string target;                                      ///< path and query as sent
  std::string path;                                        ///< the target up to the '?'
  std::vector<std::pair<std::string, std::string>> query;  ///< decoded, in order
  std::vector<std::pair<std::string, std::string>>
      headers;                   ///< as sent, in order, names in the client's case
  std::string body;              ///< at most SandboxOptions::recordedBodyLimit bytes
  std::uint64_t bodySize = 0;    ///< bytes of body that were read
  int status = 0;                ///< of the answer; 0 while there is none
  std::optional<FaultId> fault;  ///< the order that disturbed this exchange

  /// First value of the header, its name compared without regard to case.
  [[nodiscard]] std::optional<std::string> header(const std::string& name) const;
  /// First value of the query parameter.
  [[nodiscard]] std::optional<std::string> parameter(const std::string& name) const;
  /// The token of "Authorization: Bearer TOKEN", or empty.
  [[nodiscard]] std::string bearer() const;
};

}  // namespace sandbox
