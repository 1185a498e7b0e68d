#pragma once

#include "sandbox/base/Fault.h"
#include "sandbox/base/Route.h"

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace sandbox {

/// One exchange as a person looks at it. The target is the one that was sent, secrets included: maskedText
/// first.
struct ExchangeRecord {
  std::uint64_t serial = 0;  ///< that of its RecordedRequest
  std::chrono::system_clock::time_point time;
  Route route = Route::unknown;
  std::string method;
  std::string target;
  bool ended = false;
  int status = 0;  ///< that went out; 0 without an answer, or while there is none
  std::chrono::microseconds duration{0};
  std::uint64_t requestSize = 0;  ///< bytes of the body that were read
  std::uint64_t replySize = 0;    ///< bytes that went out, the head included
  std::optional<FaultId> fault;   ///< the order that disturbed it
};

/// What went out, as far as it is kept.
struct ReplyText {
  std::string sent;  ///< status line, headers and as much of the body as went over the wire
  std::string body;  ///< before it was compressed; empty for bodies that are made while they are sent
};

/// What has begun or ended since a former look.
struct ExchangeNews {
  std::vector<ExchangeRecord> exchanges;  ///< in the order of their beginning
  std::uint64_t change = 0;               ///< for the next look
};

}  // namespace sandbox
