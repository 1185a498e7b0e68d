#include "sandbox/server/ExchangeJournal.h"

#include <algorithm>
#include <string_view>
#include <utility>

namespace sandbox {

namespace {

/// The status of "HTTP/1.1 200 OK"; 0 when less than that went out.
int statusOf(std::string_view sent) {
  constexpr std::string_view version = "HTTP/1.1 ";
  constexpr std::size_t digits = 3;
  if (!sent.starts_with(version) || sent.size() < version.size() + digits) return 0;
  int status = 0;
  for (const char digit : sent.substr(version.size(), digits)) status = status * 10 + (digit - '0');
  return status;
}

/// The newest are asked for most. Connections begin side by side, so that serial numbers rise but roughly.
template <typename Entries>
auto find(Entries& entries, std::uint64_t serial) -> decltype(&entries.front()) {
  const auto found = std::find_if(entries.rbegin(), entries.rend(),
                                  [serial](const auto& entry) { return entry.record.serial == serial; });
  return found == entries.rend() ? nullptr : &*found;
}

}  // namespace

void ExchangeJournal::begin(const RecordedRequest& request) {
  Entry entry;
  entry.begun = std::chrono::steady_clock::now();
  entry.record.serial = request.serial;
  entry.record.time = request.time;
  entry.record.route = request.route;
  entry.record.method = request.method;
  entry.record.target = request.target.substr(0, replyLimit);
  entry.record.fault = request.fault;
  const std::lock_guard lock(mutex_);
  entry.change = ++change_;
  entries_.push_back(std::move(entry));
  if (entries_.size() > exchangeLimit) entries_.pop_front();
}

void ExchangeJournal::end(std::uint64_t serial, End end) {
  const auto now = std::chrono::steady_clock::now();
  const std::lock_guard lock(mutex_);
  Entry* const entry = find(entries_, serial);
  if (!entry) return;
  entry->change = ++change_;
  entry->record.ended = true;
  entry->record.status = statusOf(end.reply.sent);
  entry->record.duration = std::chrono::duration_cast<std::chrono::microseconds>(now - entry->begun);
  entry->record.requestSize = end.requestSize;
  entry->record.replySize = end.replySize;
  entry->reply = std::move(end.reply);
}

ExchangeNews ExchangeJournal::since(std::uint64_t change) const {
  const std::lock_guard lock(mutex_);
  ExchangeNews news;
  news.change = change_;
  if (change == change_) return news;
  for (const Entry& entry : entries_) {
    if (entry.change > change) news.exchanges.push_back(entry.record);
  }
  return news;
}

std::optional<ReplyText> ExchangeJournal::replyOf(std::uint64_t serial) const {
  const std::lock_guard lock(mutex_);
  const Entry* const entry = find(entries_, serial);
  return entry ? std::optional(entry->reply) : std::nullopt;
}

}  // namespace sandbox
