#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace sandbox {

/// How many bytes came in each step of time. The steps grow with the time, so that there are never many.
class RateCurve {
 public:
  static constexpr std::size_t mostSteps = 120;

  /// `since` counts from the first byte.
  void add(std::chrono::milliseconds since, std::uint64_t bytes);
  [[nodiscard]] std::chrono::milliseconds step() const { return step_; }
  [[nodiscard]] const std::vector<std::uint64_t>& bytes() const { return bytes_; }

 private:
  std::chrono::milliseconds step_{100};
  std::vector<std::uint64_t> bytes_;
};

/// What has come of an upload.
struct ArrivalState {
  std::string uploadId;
  std::string service;
  std::uint64_t announced = 0;  ///< as far as it is known; of a form it is the whole form's size
  std::uint64_t position = 0;   ///< end of the latest bytes
  std::chrono::system_clock::time_point begun;
  std::chrono::milliseconds lasted{0};  ///< from the first byte to the latest
  std::chrono::milliseconds silent{0};  ///< since then
  RateCurve curve;
  std::string start;    ///< the first bytes, which tell what it is; empty when the bytes are not kept
  bool isKept = false;  ///< `readKept` gives the bytes
};

/// When the bytes of uploads came, and the bytes themselves up to a limit, for people who look on.
/// Thread-safe.
class ArrivalBook {
 public:
  /// Of more uploads the oldest are forgotten.
  static constexpr std::size_t uploadLimit = 100;

  /// All bytes together; beyond it those of the oldest uploads go, and of one that is larger nothing is kept.
  explicit ArrivalBook(std::size_t keptLimit) : keptLimit_(keptLimit) {}

  /// Bytes of an upload that begin at `offset`; what came before at the same place is replaced.
  void take(const std::string& uploadId, const std::string& service, std::uint64_t announced,
            std::uint64_t offset, const char* bytes, std::size_t count);
  /// In the order of their beginning.
  [[nodiscard]] std::vector<ArrivalState> all() const;
  /// Bytes of the upload from `offset` on; nothing when they are not kept or `offset` lies behind them.
  [[nodiscard]] std::optional<std::string> readKept(const std::string& uploadId, std::uint64_t offset,
                                                    std::uint64_t count) const;
  [[nodiscard]] std::optional<ArrivalState> one(const std::string& uploadId) const;

 private:
  struct Entry {
    ArrivalState state;
    std::chrono::steady_clock::time_point first;
    std::chrono::steady_clock::time_point latest;
    std::vector<std::string> blocks;
  };
  Entry& entryOf(const std::string& uploadId, const std::string& service);
  [[nodiscard]] const Entry* find(const std::string& uploadId) const;
  void keep(Entry& entry, std::uint64_t offset, const char* bytes, std::size_t count);
  bool makeRoom(const Entry& entry);
  void drop(Entry& entry);
  [[nodiscard]] static ArrivalState stateOf(const Entry& entry);

  const std::size_t keptLimit_;
  mutable std::mutex mutex_;
  std::deque<Entry> entries_;
  std::size_t kept_ = 0;  ///< bytes of all blocks
};

/// One upload's way into the book; a book that is null costs a comparison.
class Arrival {
 public:
  Arrival(ArrivalBook* book, std::string uploadId, std::string service, std::uint64_t announced);

  void take(std::uint64_t offset, const char* bytes, std::size_t count) const {
    if (book_) book_->take(uploadId_, service_, announced_, offset, bytes, count);
  }
  [[nodiscard]] const std::string& uploadId() const { return uploadId_; }

 private:
  ArrivalBook* book_;
  std::string uploadId_;
  std::string service_;
  std::uint64_t announced_;
};

}  // namespace sandbox
