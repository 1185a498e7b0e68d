#include "sandbox/state/ArrivalBook.h"

#include <algorithm>
#include <utility>

namespace sandbox {

namespace {

constexpr std::size_t blockSize = std::size_t{1024} * 1024;
constexpr std::size_t startSize = 16;

std::chrono::milliseconds between(std::chrono::steady_clock::time_point begin,
                                  std::chrono::steady_clock::time_point end) {
  return std::chrono::duration_cast<std::chrono::milliseconds>(end - begin);
}

}  // namespace

void RateCurve::add(std::chrono::milliseconds since, std::uint64_t bytes) {
  while (static_cast<std::size_t>(since / step_) >= mostSteps) {
    for (std::size_t at = 0; at < bytes_.size(); ++at) {
      const std::uint64_t its = std::exchange(bytes_[at], 0);
      bytes_[at / 2] += its;
    }
    bytes_.resize((bytes_.size() + 1) / 2);
    step_ *= 2;
  }
  const auto at = static_cast<std::size_t>(since / step_);
  if (bytes_.size() <= at) bytes_.resize(at + 1);
  bytes_[at] += bytes;
}

void ArrivalBook::take(const std::string& uploadId, const std::string& service, std::uint64_t announced,
                       std::uint64_t offset, const char* bytes, std::size_t count) {
  const auto now = std::chrono::steady_clock::now();
  const std::lock_guard lock(mutex_);
  Entry& entry = entryOf(uploadId, service);
  if (entry.state.curve.bytes().empty()) {
    entry.first = now;
    entry.state.begun = std::chrono::system_clock::now();
    entry.state.isKept = true;
  }
  entry.latest = now;
  entry.state.announced = announced;
  entry.state.position = offset + count;
  entry.state.curve.add(between(entry.first, now), count);
  if (entry.state.isKept) keep(entry, offset, bytes, count);
}

std::vector<ArrivalState> ArrivalBook::all() const {
  const std::lock_guard lock(mutex_);
  std::vector<ArrivalState> states;
  for (const Entry& entry : entries_) states.push_back(stateOf(entry));
  return states;
}

std::optional<ArrivalState> ArrivalBook::one(const std::string& uploadId) const {
  const std::lock_guard lock(mutex_);
  const Entry* const entry = find(uploadId);
  return entry ? std::optional(stateOf(*entry)) : std::nullopt;
}

std::optional<std::string> ArrivalBook::readKept(const std::string& uploadId, std::uint64_t offset,
                                                 std::uint64_t count) const {
  const std::lock_guard lock(mutex_);
  const Entry* const entry = find(uploadId);
  if (!entry || !entry->state.isKept || offset >= entry->state.position) return std::nullopt;
  count = std::min(count, entry->state.position - offset);
  std::string bytes;
  bytes.reserve(static_cast<std::size_t>(count));
  while (bytes.size() < count) {
    const std::uint64_t at = offset + bytes.size();
    const std::string& block = entry->blocks[static_cast<std::size_t>(at / blockSize)];
    bytes.append(block, static_cast<std::size_t>(at % blockSize),
                 static_cast<std::size_t>(count - bytes.size()));
  }
  return bytes;
}

ArrivalBook::Entry& ArrivalBook::entryOf(const std::string& uploadId, const std::string& service) {
  const auto found = std::find_if(entries_.rbegin(), entries_.rend(),
                                  [&](const Entry& entry) { return entry.state.uploadId == uploadId; });
  if (found != entries_.rend()) return *found;
  if (entries_.size() >= uploadLimit) {
    drop(entries_.front());
    entries_.pop_front();
  }
  entries_.emplace_back();
  entries_.back().state.uploadId = uploadId;
  entries_.back().state.service = service;
  return entries_.back();
}

const ArrivalBook::Entry* ArrivalBook::find(const std::string& uploadId) const {
  const auto found = std::find_if(entries_.begin(), entries_.end(),
                                  [&](const Entry& entry) { return entry.state.uploadId == uploadId; });
  return found == entries_.end() ? nullptr : &*found;
}

void ArrivalBook::keep(Entry& entry, std::uint64_t offset, const char* bytes, std::size_t count) {
  // Bytes come in order, or over bytes that came before: there is nothing to keep behind a gap.
  if (offset > entry.blocks.size() * blockSize) return drop(entry);
  while (count > 0) {
    const auto at = static_cast<std::size_t>(offset / blockSize);
    if (at == entry.blocks.size()) {
      if (!makeRoom(entry)) return drop(entry);
      entry.blocks.emplace_back(blockSize, '\0');
      kept_ += blockSize;
    }
    const auto inside = static_cast<std::size_t>(offset % blockSize);
    const std::size_t taken = std::min(count, blockSize - inside);
    entry.blocks[at].replace(inside, taken, bytes, taken);
    offset += taken;
    bytes += taken;
    count -= taken;
  }
}

/// For one block more; false when the upload would have to make room for itself.
bool ArrivalBook::makeRoom(const Entry& entry) {
  for (Entry& oldest : entries_) {
    if (kept_ + blockSize <= keptLimit_) return true;
    if (&oldest != &entry) drop(oldest);
  }
  return kept_ + blockSize <= keptLimit_;
}

void ArrivalBook::drop(Entry& entry) {
  kept_ -= entry.blocks.size() * blockSize;
  entry.blocks.clear();
  entry.blocks.shrink_to_fit();
  entry.state.isKept = false;
}

ArrivalState ArrivalBook::stateOf(const Entry& entry) {
  ArrivalState state = entry.state;
  state.lasted = between(entry.first, entry.latest);
  state.silent = between(entry.latest, std::chrono::steady_clock::now());
  if (state.isKept && !entry.blocks.empty()) {
    state.start = entry.blocks.front().substr(0, std::min<std::uint64_t>(startSize, state.position));
  }
  return state;
}

Arrival::Arrival(ArrivalBook* book, std::string uploadId, std::string service, std::uint64_t announced)
    : book_(book), uploadId_(std::move(uploadId)), service_(std::move(service)), announced_(announced) {}

}  // namespace sandbox
