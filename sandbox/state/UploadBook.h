#pragma once

#include "sandbox/base/Sha256.h"
#include "sandbox/base/UploadRecord.h"
#include "sandbox/state/StateTable.h"

#include <json/value.h>

#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace sandbox {

/// What was uploaded and what is being uploaded. Thread-safe. Finished uploads are kept between processes.
class UploadBook {
 private:
  struct Entry {
    UploadRecord record;
    Sha256 hash;
    Sha256 hashBeforeLast;
    bool borrowed = false;
    bool removed = false;  ///< kept in its place, since a loan may point here
  };

 public:
  /// With `isKept` the book remembers what `table` has to write.
  explicit UploadBook(bool isKept = false) : isKept_(isKept) {}

  /// The right to add to one upload, held by one request at a time.
  class Loan {
   public:
    Loan(UploadBook& book, Entry& entry) : book_(&book), entry_(&entry) {}
    Loan(Loan&& other) noexcept : book_(other.book_), entry_(std::exchange(other.entry_, nullptr)) {}
    Loan& operator=(Loan&&) = delete;
    ~Loan();

    [[nodiscard]] const UploadRecord& record() const { return entry_->record; }
    [[nodiscard]] const Sha256& hash() const { return entry_->hash; }
    /// The chunk was received whole: `hash` is over all bytes up to its end. `sha256` is set when it was the
    /// last.
    void commit(const UploadedChunk& chunk, const Sha256& hash, bool last, const std::string& sha256);
    /// Hash over all bytes in front of the last chunk.
    [[nodiscard]] const Sha256& hashBeforeLast() const { return entry_->hashBeforeLast; }
    /// The last chunk came once more.
    void replaceLast(const UploadedChunk& chunk, const Sha256& hash);
    /// No more chunks will come.
    void finish(const std::string& sha256);
    /// The size, for services that hear it with the first bytes.
    void announce(std::uint64_t size);
    /// Replaces the metadata.
    void describe(const std::string& metadata);

   private:
    UploadBook* book_;
    Entry* entry_;
  };

  /// Gives the record the ids that it lacks and returns the upload id.
  std::string open(UploadRecord record);
  /// An upload that came in one request. Gives the record its ids and returns the media id.
  std::string addComplete(UploadRecord record);
  [[nodiscard]] bool knows(const std::string& uploadId) const;
  /// Waits while another request holds the upload; nothing when it is unknown or stays held for `limit`.
  std::optional<Loan> borrow(const std::string& uploadId, std::chrono::milliseconds limit);

  /// Puts a member into the metadata of the upload with this media id; false when the service has none such.
  bool annotate(const std::string& service, const std::string& mediaId, const std::string& member,
                const Json::Value& value);
  /// Takes the upload with this media id away; false when the service has none such.
  bool remove(const std::string& service, const std::string& mediaId);
  [[nodiscard]] std::optional<UploadRecord> byMediaId(const std::string& service,
                                                      const std::string& mediaId) const;
  [[nodiscard]] std::vector<UploadRecord> all() const;
  /// The last ones to be opened, in that order.
  [[nodiscard]] std::vector<UploadRecord> latest(std::size_t count) const;
  bool waitForComplete(std::size_t count, std::chrono::milliseconds limit);

  /// Complete uploads are kept between processes.
  [[nodiscard]] StateTable table();

  /// Ends all waits for good.
  void stop();

 private:
  const UploadRecord& add(UploadRecord record);
  Entry* find(const std::string& uploadId);
  Entry* findEvenRemoved(const std::string& uploadId);
  void keep(const UploadRecord& record);
  std::vector<StateRow> take();
  bool merge(const StateRow& row);

  const bool isKept_;
  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<Entry> entries_;  ///< a deque: loans point into it while it grows
  std::set<std::string> unsaved_;
  bool stopping_ = false;
};

/// The record as the inspection routes and the state file show it, without its chunks.
[[nodiscard]] Json::Value jsonOf(const UploadRecord& record);

}  // namespace sandbox
