#pragma once

#include "sandbox/base/ExchangeRecord.h"
#include "sandbox/base/RecordedRequest.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <mutex>
#include <optional>
#include <string>

namespace sandbox {

/// The latest exchanges with what went out, for people who look on. What came in stands in the RequestLog.
/// Nobody is woken by it: who looks asks again. Thread-safe.
class ExchangeJournal {
 public:
  /// Beyond so many exchanges the oldest go.
  static constexpr std::size_t exchangeLimit = 1000;
  /// Of an answer so many bytes are kept.
  static constexpr std::size_t replyLimit = std::size_t{16} * 1024;

  void begin(const RecordedRequest& request);
  struct End {
    std::uint64_t requestSize = 0;
    std::uint64_t replySize = 0;
    ReplyText reply;
  };
  void end(std::uint64_t serial, End end);

  /// `change` is that of the former look; 0 tells of all that is kept.
  [[nodiscard]] ExchangeNews since(std::uint64_t change) const;
  [[nodiscard]] std::optional<ReplyText> replyOf(std::uint64_t serial) const;

 private:
  struct Entry {
    ExchangeRecord record;
    ReplyText reply;
    std::chrono::steady_clock::time_point begun;
    std::uint64_t change = 0;
  };

  mutable std::mutex mutex_;
  std::deque<Entry> entries_;
  std::uint64_t change_ = 0;
};

}  // namespace sandbox
