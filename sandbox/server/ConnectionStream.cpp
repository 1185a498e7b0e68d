#include "sandbox/server/ConnectionStream.h"

#include <algorithm>
#include <cstring>
#include <string_view>
#include <utility>

namespace sandbox {

namespace {

constexpr std::size_t bufferSize = std::size_t{256} * 1024;

}  // namespace

ConnectionStream::ConnectionStream(Transport& transport) : transport_(transport), buffer_(bufferSize) {}

ConnectionStream::Head ConnectionStream::readHead(std::string& head) {
  constexpr std::string_view endOfHead = "\r\n\r\n";
  head.clear();
  while (true) {
    if (begin_ == end_ && !fill()) return Head::closed;
    // Empty lines ahead of a request are allowed and mean nothing.
    if (head.empty() && (buffer_[begin_] == '\r' || buffer_[begin_] == '\n')) {
      ++begin_;
      continue;
    }
    const std::size_t known = head.size();
    head.append(buffer_.data() + begin_, end_ - begin_);
    const std::size_t found = head.find(endOfHead, known < endOfHead.size() ? 0 : known - endOfHead.size());
    if (found != std::string::npos) {
      begin_ += found + endOfHead.size() - known;
      head.resize(found + endOfHead.size());
      return head.size() > headLimit ? Head::tooLong : Head::complete;
    }
    begin_ = end_;
    if (head.size() > headLimit) return Head::tooLong;
  }
}

void ConnectionStream::prepend(std::string head) {
  prepended_ = std::move(head);
  prependedAt_ = 0;
  // An interruption that the last answer was too short for must not meet this one.
  interruption_ = nullptr;
}

void ConnectionStream::interruptAnswerAfter(std::uint64_t bytes, std::function<bool()> interruption) {
  untilInterruption_ = bytes;
  interruption_ = std::move(interruption);
}

void ConnectionStream::watchAnswer(std::size_t limit) {
  answerLimit_ = limit;
  answerSize_ = 0;
  answer_.clear();
}

ssize_t ConnectionStream::read(char* bytes, size_t count) {
  if (ended_ || count == 0) return 0;
  if (prependedAt_ < prepended_.size()) {
    const std::size_t taken = prepended_.copy(bytes, count, prependedAt_);
    prependedAt_ += taken;
    return static_cast<ssize_t>(taken);
  }
  if (begin_ == end_ && !fill()) return 0;
  const std::size_t taken = std::min(count, end_ - begin_);
  std::memcpy(bytes, buffer_.data() + begin_, taken);
  begin_ += taken;
  return static_cast<ssize_t>(taken);
}

ssize_t ConnectionStream::write(const char* bytes, size_t count) {
  if (ended_) return -1;
  std::size_t sent = 0;
  if (interruption_ && count >= untilInterruption_) {
    sent = static_cast<std::size_t>(untilInterruption_);
    const std::function<bool()> interruption = std::exchange(interruption_, nullptr);
    if (!send(bytes, sent) || !interruption()) {
      end();
      return -1;
    }
  } else if (interruption_) {
    untilInterruption_ -= count;
  }
  if (!send(bytes + sent, count - sent)) {
    end();
    return -1;
  }
  return static_cast<ssize_t>(count);
}

void ConnectionStream::get_remote_ip_and_port(std::string& ip, int& port) const {
  ip = "127.0.0.1";
  port = 0;
}

void ConnectionStream::get_local_ip_and_port(std::string& ip, int& port) const {
  get_remote_ip_and_port(ip, port);
}

bool ConnectionStream::send(const char* bytes, std::size_t count) {
  if (!transport_.write(bytes, count)) return false;
  answerSize_ += count;
  if (answer_.size() < answerLimit_) answer_.append(bytes, std::min(count, answerLimit_ - answer_.size()));
  return true;
}

bool ConnectionStream::fill() {
  begin_ = 0;
  end_ = ended_ ? 0 : transport_.read(buffer_.data(), buffer_.size());
  return end_ > 0;
}

}  // namespace sandbox
