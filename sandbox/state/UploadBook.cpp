#include "sandbox/state/UploadBook.h"

#include "sandbox/base/JsonText.h"
#include "sandbox/base/Text.h"

#include <algorithm>
#include <utility>

namespace sandbox {

namespace {

UploadRecord recordFrom(const Json::Value& value) {
  const auto text = [&](const char* name) { return textMember(value, name).value_or(""); };
  const auto number = [&](const char* name) {
    return static_cast<std::uint64_t>(std::max(0LL, integerMember(value, name).value_or(0)));
  };
  UploadRecord record;
  record.service = text("service");
  record.uploadId = text("upload_id");
  record.mediaId = text("media_id");
  record.openId = text("open_id");
  record.fileName = text("file_name");
  record.mediaType = text("media_type");
  record.metadata = text("metadata");
  record.announcedSize = number("announced_size");
  record.receivedSize = number("received_size");
  record.sha256 = text("sha256");
  record.complete = true;
  return record;
}

}  // namespace

Json::Value jsonOf(const UploadRecord& record) {
  Json::Value value;
  value["service"] = record.service;
  value["upload_id"] = record.uploadId;
  value["media_id"] = record.mediaId;
  value["open_id"] = record.openId;
  value["file_name"] = record.fileName;
  value["media_type"] = record.mediaType;
  value["metadata"] = record.metadata;
  value["announced_size"] = Json::UInt64(record.announcedSize);
  value["received_size"] = Json::UInt64(record.receivedSize);
  value["sha256"] = record.sha256;
  value["complete"] = record.complete;
  value["chunks"] = Json::UInt64(record.chunks.size());
  return value;
}

UploadBook::Loan::~Loan() {
  if (!entry_) return;
  const std::lock_guard lock(book_->mutex_);
  entry_->borrowed = false;
  book_->changed_.notify_all();
}

void UploadBook::Loan::commit(const UploadedChunk& chunk, const Sha256& hash, bool last,
                              const std::string& sha256) {
  const std::lock_guard lock(book_->mutex_);
  entry_->record.chunks.push_back(chunk);
  entry_->record.receivedSize = chunk.offset + chunk.size;
  entry_->record.complete = last;
  entry_->record.sha256 = sha256;
  entry_->hashBeforeLast = std::exchange(entry_->hash, hash);
  book_->keep(entry_->record);
  book_->changed_.notify_all();
}

void UploadBook::Loan::replaceLast(const UploadedChunk& chunk, const Sha256& hash) {
  const std::lock_guard lock(book_->mutex_);
  entry_->record.chunks.back() = chunk;
  entry_->record.receivedSize = chunk.offset + chunk.size;
  entry_->hash = hash;
  book_->keep(entry_->record);
}

void UploadBook::Loan::finish(const std::string& sha256) {
  const std::lock_guard lock(book_->mutex_);
  entry_->record.complete = true;
  entry_->record.sha256 = sha256;
  book_->keep(entry_->record);
  book_->changed_.notify_all();
}

void UploadBook::Loan::announce(std::uint64_t size) {
  const std::lock_guard lock(book_->mutex_);
  entry_->record.announcedSize = size;
  book_->keep(entry_->record);
}

void UploadBook::Loan::describe(const std::string& metadata) {
  const std::lock_guard lock(book_->mutex_);
  entry_->record.metadata = metadata;
  book_->keep(entry_->record);
}

std::string UploadBook::open(UploadRecord record) {
  const std::lock_guard lock(mutex_);
  return add(std::move(record)).uploadId;
}

std::string UploadBook::addComplete(UploadRecord record) {
  const std::lock_guard lock(mutex_);
  record.complete = true;
  std::string mediaId = add(std::move(record)).mediaId;
  changed_.notify_all();
  return mediaId;
}

bool UploadBook::knows(const std::string& uploadId) const {
  const std::lock_guard lock(mutex_);
  return std::any_of(entries_.begin(), entries_.end(),
                     [&](const Entry& entry) { return !entry.removed && entry.record.uploadId == uploadId; });
}

std::optional<UploadBook::Loan> UploadBook::borrow(const std::string& uploadId,
                                                   std::chrono::milliseconds limit) {
  std::unique_lock lock(mutex_);
  Entry* const entry = find(uploadId);
  if (!entry) return std::nullopt;
  if (!changed_.wait_for(lock, limit, [&] { return stopping_ || !entry->borrowed; }) || stopping_)
    return std::nullopt;
  entry->borrowed = true;
  return Loan(*this, *entry);
}

bool UploadBook::annotate(const std::string& service, const std::string& mediaId, const std::string& member,
                          const Json::Value& value) {
  const std::lock_guard lock(mutex_);
  for (Entry& entry : entries_) {
    if (entry.record.service != service || entry.record.mediaId != mediaId) continue;
    Json::Value metadata = parseJson(entry.record.metadata).value_or(Json::Value(Json::objectValue));
    metadata[member] = value;
    entry.record.metadata = compactJson(metadata);
    keep(entry.record);
    return true;
  }
  return false;
}

std::optional<UploadRecord> UploadBook::byMediaId(const std::string& service,
                                                  const std::string& mediaId) const {
  const std::lock_guard lock(mutex_);
  const auto found = std::find_if(entries_.begin(), entries_.end(), [&](const Entry& entry) {
    return !entry.removed && entry.record.service == service && entry.record.mediaId == mediaId;
  });
  return found == entries_.end() ? std::nullopt : std::optional(found->record);
}

bool UploadBook::remove(const std::string& service, const std::string& mediaId) {
  const std::lock_guard lock(mutex_);
  const auto found = std::find_if(entries_.begin(), entries_.end(), [&](const Entry& entry) {
    return !entry.removed && entry.record.service == service && entry.record.mediaId == mediaId;
  });
  if (found == entries_.end()) return false;
  found->removed = true;
  keep(found->record);
  return true;
}

std::vector<UploadRecord> UploadBook::all() const {
  const std::lock_guard lock(mutex_);
  std::vector<UploadRecord> records;
  for (const Entry& entry : entries_) {
    if (!entry.removed) records.push_back(entry.record);
  }
  return records;
}

std::vector<UploadRecord> UploadBook::latest(std::size_t count) const {
  const std::lock_guard lock(mutex_);
  std::vector<UploadRecord> records;
  for (auto entry = entries_.rbegin(); entry != entries_.rend() && records.size() < count; ++entry) {
    if (!entry->removed) records.push_back(entry->record);
  }
  std::reverse(records.begin(), records.end());
  return records;
}

bool UploadBook::waitForComplete(std::size_t count, std::chrono::milliseconds limit) {
  std::unique_lock lock(mutex_);
  const auto reached = [&] {
    const auto complete = std::count_if(entries_.begin(), entries_.end(), [](const Entry& entry) {
      return entry.record.complete && !entry.removed;
    });
    return static_cast<std::size_t>(complete) >= count;
  };
  changed_.wait_for(lock, limit, [&] { return stopping_ || reached(); });
  return reached();
}

StateTable UploadBook::table() {
  return {"uploads", [this] { return take(); },
          [this](const std::vector<StateRow>& rows) {
            const std::lock_guard lock(mutex_);
            for (const StateRow& row : rows) unsaved_.insert(row.id);
          },
          [this](const StateRow& row) { return merge(row); }};
}

std::vector<StateRow> UploadBook::take() {
  const std::lock_guard lock(mutex_);
  std::vector<StateRow> rows;
  for (const std::string& uploadId : std::exchange(unsaved_, {})) {
    const Entry* const entry = findEvenRemoved(uploadId);
    if (!entry) continue;
    rows.push_back({uploadId, jsonOf(entry->record)});
    if (entry->removed) rows.back().record["removed"] = true;
  }
  return rows;
}

bool UploadBook::merge(const StateRow& row) {
  const std::lock_guard lock(mutex_);
  const bool removed = row.record["removed"].isBool() && row.record["removed"].asBool();
  if (Entry* const known = findEvenRemoved(row.id)) {
    known->removed = known->removed || removed;
    // The one who wrote last is right. A loan reads the metadata without the lock.
    const bool isOwn = known->borrowed || unsaved_.contains(row.id);
    if (!isOwn) known->record.metadata = recordFrom(row.record).metadata;
    return true;
  }
  if (removed) return false;
  entries_.emplace_back();
  entries_.back().record = recordFrom(row.record);
  entries_.back().record.uploadId = row.id;
  return true;
}

void UploadBook::stop() {
  const std::lock_guard lock(mutex_);
  stopping_ = true;
  changed_.notify_all();
}

const UploadRecord& UploadBook::add(UploadRecord record) {
  constexpr std::size_t uploadIdLength = 40;
  constexpr std::size_t mediaIdLength = 11;
  if (record.uploadId.empty()) record.uploadId = randomText(uploadIdLength);
  if (record.mediaId.empty()) record.mediaId = randomText(mediaIdLength);
  entries_.emplace_back();
  entries_.back().record = std::move(record);
  keep(entries_.back().record);
  return entries_.back().record;
}

void UploadBook::keep(const UploadRecord& record) {
  if (isKept_ && record.complete) unsaved_.insert(record.uploadId);
}

UploadBook::Entry* UploadBook::find(const std::string& uploadId) {
  Entry* const found = findEvenRemoved(uploadId);
  return found && !found->removed ? found : nullptr;
}

UploadBook::Entry* UploadBook::findEvenRemoved(const std::string& uploadId) {
  const auto found = std::find_if(entries_.begin(), entries_.end(),
                                  [&](const Entry& entry) { return entry.record.uploadId == uploadId; });
  return found == entries_.end() ? nullptr : &*found;
}

}  // namespace sandbox
