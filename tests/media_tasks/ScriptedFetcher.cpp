#include "media_tasks/ScriptedFetcher.h"

#include "support/WaitUntil.h"

#include <algorithm>
#include <atomic>
#include <memory>
#include <utility>

namespace {

using KBL::FetchBeat;
using KBL::FetchListener;
using KBL::FetchResult;

constexpr std::size_t pieceBytes = 16384;

FetchResult failed(const char* words) {
  return {FetchResult::End::failed, words};
}
FetchResult aborted() {
  return failed("Operation was aborted by an application callback");
}
FetchResult refused() {
  return failed("Failed writing received data to disk/application");
}

FetchBeat beatAt(std::size_t bytes, const ScriptedReply& reply) {
  const std::size_t total = reply.isAnnounced ? reply.body.size() : 0;
  return {static_cast<double>(total), static_cast<double>(bytes), 0, 0};
}

/// Brings the bytes of the reply's body from `sent` on to `end`. Gives how that failed, if it did.
std::optional<FetchResult> bring(const ScriptedReply& reply, std::size_t& sent, std::size_t end,
                                 std::size_t largestBody, FetchListener& listener) {
  while (sent < end) {
    const std::size_t size = std::min(pieceBytes, end - sent);
    if (sent + size > largestBody || !listener.takePiece(reply.body.data() + sent, size)) return refused();
    sent += size;
    // One beat with news, and one without.
    for (int beat = 0; beat < 2; ++beat) {
      if (!listener.goesOn(beatAt(sent, reply))) return aborted();
    }
  }
  return std::nullopt;
}

}  // namespace

void ScriptedFetcher::answer(Answer answer) {
  const std::lock_guard lock(mutex_);
  answer_ = std::move(answer);
}

void ScriptedFetcher::answerAlways(const std::string& body) {
  answer([=](const std::string&) { return ScriptedReply{.body = body}; });
}

void ScriptedFetcher::answerInOrder(std::vector<ScriptedReply> replies) {
  const auto next = std::make_shared<std::atomic<std::size_t>>(0);
  answer([next, replies = std::move(replies)](const std::string&) {
    const std::size_t place = (*next)++;
    return place < replies.size() ? replies[place] : ScriptedReply{.body = "nothing here"};
  });
}

void ScriptedFetcher::release() {
  const std::lock_guard lock(mutex_);
  ++releases_;
}

void ScriptedFetcher::endProcess() {
  const std::lock_guard lock(mutex_);
  processEnds_ = true;
}

std::size_t ScriptedFetcher::fetches() const {
  const std::lock_guard lock(mutex_);
  return fetches_;
}

std::vector<std::string> ScriptedFetcher::targets() const {
  const std::lock_guard lock(mutex_);
  return targets_;
}

bool ScriptedFetcher::waitForTargets(std::size_t count) const {
  return waitUntil([&] { return targets().size() >= count; });
}

int ScriptedFetcher::releases() const {
  const std::lock_guard lock(mutex_);
  return releases_;
}

KBL::FetchResult ScriptedFetcher::fetch(const std::string& url, std::size_t largestBody,
                                        FetchListener& listener) {
  {
    const std::lock_guard lock(mutex_);
    ++fetches_;
    if (processEnds_) return {FetchResult::End::processEnds};
  }
  if (!listener.goesOn(beatAt(0, {}))) return aborted();
  const ScriptedReply reply = replyTo(url);
  const std::size_t size = reply.body.size();
  std::size_t sent = 0;
  const std::size_t pause = std::min(reply.stallAfter.value_or(size), reply.breakAfter.value_or(size));
  if (const auto failure = bring(reply, sent, pause, largestBody, listener)) return *failure;
  if (reply.breakAfter) return failed("Transferred a partial file");
  if (reply.stallAfter && !outlasts(listener, beatAt(sent, reply))) return aborted();
  if (const auto failure = bring(reply, sent, size, largestBody, listener)) return *failure;
  return listener.goesOn(beatAt(sent, reply)) ? FetchResult{FetchResult::End::good} : aborted();
}

ScriptedReply ScriptedFetcher::replyTo(const std::string& address) {
  const std::string base = url();
  const std::string target =
      address.compare(0, base.size(), base) == 0 ? address.substr(base.size()) : address;
  Answer answer;
  {
    const std::lock_guard lock(mutex_);
    targets_.push_back(target);
    answer = answer_;
  }
  return answer ? answer(target) : ScriptedReply{.body = "nothing here"};
}

/// False when the listener has had enough of a fetch that stalls.
bool ScriptedFetcher::outlasts(FetchListener& listener, const FetchBeat& beat) const {
  const int before = releases();
  bool goesOn = true;
  const bool isOver = waitUntil([&] {
    goesOn = listener.goesOn(beat);
    return !goesOn || releases() != before;
  });
  return isOver && goesOn;
}
