#include "sandbox/server/RequestLog.h"

#include <algorithm>

namespace sandbox {

namespace {

/// What a request without a body takes, roughly: even these must not grow without end.
constexpr std::size_t headCost = 1024;

std::size_t costOf(const RecordedRequest& request) {
  return headCost + request.target.size() + request.body.size();
}

/// Serial numbers rise along the deque without gaps until a clear.
template <typename Requests>
auto find(Requests& requests, std::uint64_t serial) -> decltype(&requests.front()) {
  const auto found = std::lower_bound(
      requests.begin(), requests.end(), serial,
      [](const RecordedRequest& request, std::uint64_t wanted) { return request.serial < wanted; });
  return found != requests.end() && found->serial == serial ? &*found : nullptr;
}

}  // namespace

RequestLog::RequestLog(std::size_t bodyLimit, std::size_t totalLimit)
    : bodyLimit_(bodyLimit), totalLimit_(totalLimit) {}

std::uint64_t RequestLog::begin(RecordedRequest request) {
  const std::lock_guard lock(mutex_);
  request.serial = ++lastSerial_;
  ++begun_[static_cast<std::size_t>(request.route)];
  total_ += costOf(request);
  requests_.push_back(std::move(request));
  while (total_ > totalLimit_ && requests_.size() > 1) {
    total_ -= costOf(requests_.front());
    requests_.pop_front();
  }
  return lastSerial_;
}

void RequestLog::body(std::uint64_t serial, std::string kept, std::uint64_t size) {
  const std::lock_guard lock(mutex_);
  RecordedRequest* request = find(requests_, serial);
  if (!request) return;
  total_ += kept.size();
  total_ -= request->body.size();
  request->body = std::move(kept);
  request->bodySize = size;
}

void RequestLog::arrived(Route route) {
  const std::lock_guard lock(mutex_);
  ++arrived_[static_cast<std::size_t>(route)];
  changed_.notify_all();
}

void RequestLog::answered(std::uint64_t serial, int status) {
  const std::lock_guard lock(mutex_);
  if (RecordedRequest* request = find(requests_, serial)) request->status = status;
}

std::vector<RecordedRequest> RequestLog::all() const {
  const std::lock_guard lock(mutex_);
  return {requests_.begin(), requests_.end()};
}

std::vector<RecordedRequest> RequestLog::of(Route route) const {
  const std::lock_guard lock(mutex_);
  std::vector<RecordedRequest> found;
  std::copy_if(requests_.begin(), requests_.end(), std::back_inserter(found),
               [route](const RecordedRequest& request) { return request.route == route; });
  return found;
}

std::optional<RecordedRequest> RequestLog::one(std::uint64_t serial) const {
  const std::lock_guard lock(mutex_);
  const RecordedRequest* const request = find(requests_, serial);
  return request ? std::optional(*request) : std::nullopt;
}

std::size_t RequestLog::count(Route route) const {
  const std::lock_guard lock(mutex_);
  return begun_[static_cast<std::size_t>(route)];
}

bool RequestLog::waitForArrived(Route route, std::size_t count, std::chrono::milliseconds limit) {
  std::unique_lock lock(mutex_);
  const auto reached = [&] { return arrived_[static_cast<std::size_t>(route)] >= count; };
  changed_.wait_for(lock, limit, [&] { return stopping_ || reached(); });
  return reached();
}

void RequestLog::clear() {
  const std::lock_guard lock(mutex_);
  requests_.clear();
  total_ = 0;
}

void RequestLog::stop() {
  const std::lock_guard lock(mutex_);
  stopping_ = true;
  changed_.notify_all();
}

}  // namespace sandbox
