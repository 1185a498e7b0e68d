#pragma once

#include "foundation/BsNet/client/CurlHandle.h"
#include <BsNet/ExchangeCallbacks.h>

#include <chrono>
#include <optional>

namespace KBL {

/// Runs one request of an easy handle on a multi handle, which keeps the connections from request to request.
/// libcurl's own progress calls come as rarely as once a second on an idle connection, so a transfer whose
/// caller wants to be asked whether to go on is driven in short beats. Without one it waits for what happens:
/// for bytes, for its limits and for the end of the process.
class CurlTransfer {
 public:
  enum class End { finished, cancelled, stalled, closing };
  struct Outcome {
    End end;
    CURLcode code;  ///< of a finished transfer
  };

  CurlTransfer(CURLM* multi, const CurlEasy& easy, IBsProgressCallback* progress)
      : multi_(multi), easy_(easy), progress_(progress) {}

  /// Ends the transfer when no byte has moved for `limit`.
  void setStallLimit(std::chrono::milliseconds limit) { stallLimit_ = limit; }

  [[nodiscard]] Outcome run();

 private:
  using Clock = std::chrono::steady_clock;
  struct Counts {
    curl_off_t sent = 0;
    curl_off_t received = 0;
    bool operator==(const Counts&) const = default;
  };

  Outcome drive();
  [[nodiscard]] std::optional<CURLcode> finishedCode() const;
  [[nodiscard]] Counts counts() const;
  [[nodiscard]] bool mayGoOn();
  [[nodiscard]] bool isStalled();
  [[nodiscard]] std::chrono::milliseconds longestWait() const;

  CURLM* multi_;
  const CurlEasy& easy_;
  IBsProgressCallback* progress_;
  std::chrono::milliseconds stallLimit_{0};  // 0: none
  Clock::time_point lastMove_;
  Counts lastCounts_;
  std::optional<Clock::time_point> lastAsked_;
};

}  // namespace KBL
