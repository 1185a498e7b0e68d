#pragma once

#include "sandbox/base/RecordedRequest.h"

#include <array>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

namespace sandbox {

/// The recorded exchanges. Thread-safe.
class RequestLog {
 public:
  /// Each body is kept up to `bodyLimit` bytes, all together up to `totalLimit`; the oldest requests make
  /// room.
  RequestLog(std::size_t bodyLimit, std::size_t totalLimit);

  /// The head has arrived. Gives the request its serial number.
  std::uint64_t begin(RecordedRequest request);
  /// What came of the body, on the way to the limit.
  void body(std::uint64_t serial, std::string kept, std::uint64_t size);
  /// The request has come to its end, or a fault keeps it from there.
  void arrived(Route route);
  void answered(std::uint64_t serial, int status);
  [[nodiscard]] std::size_t bodyLimit() const { return bodyLimit_; }

  [[nodiscard]] std::vector<RecordedRequest> all() const;
  [[nodiscard]] std::vector<RecordedRequest> of(Route route) const;
  /// Nothing when it has made room, or was cleared.
  [[nodiscard]] std::optional<RecordedRequest> one(std::uint64_t serial) const;
  [[nodiscard]] std::size_t count(Route route) const;
  bool waitForArrived(Route route, std::size_t count, std::chrono::milliseconds limit);
  void clear();
  /// Ends all waits for good.
  void stop();

 private:
  static constexpr std::size_t routes = static_cast<std::size_t>(Route::unknown) + 1;

  const std::size_t bodyLimit_;
  const std::size_t totalLimit_;
  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<RecordedRequest> requests_;
  std::size_t total_ = 0;  ///< cost of all requests
  std::array<std::size_t, routes> begun_{};
  std::array<std::size_t, routes> arrived_{};
  std::uint64_t lastSerial_ = 0;
  bool stopping_ = false;
};

}  // namespace sandbox
