#pragma once

#include "sandbox/server/Transport.h"

#include <httplib.h>

#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace sandbox {

/// What the HTTP library reads from and writes to. It keeps the head of each request for us (the library cuts
/// lines off at 8 KiB and decodes header values) and can end, stall or silence an answer at a given byte.
class ConnectionStream final : public httplib::Stream {
 public:
  explicit ConnectionStream(Transport& transport);

  enum class Head { complete, closed, tooLong };
  /// Reads up to and including the empty line, at most headLimit bytes.
  Head readHead(std::string& head);
  /// What the library reads before the body: a head of our own making.
  void prepend(std::string head);

  /// Called when the answer's byte number `bytes` has left, once. False ends the connection's use: nothing
  /// more leaves.
  void interruptAnswerAfter(std::uint64_t bytes, std::function<bool()> interruption);
  /// Counts what goes out from now on and keeps the first `limit` bytes of it, for somebody who looks on.
  void watchAnswer(std::size_t limit);
  [[nodiscard]] std::uint64_t answerSize() const { return answerSize_; }
  [[nodiscard]] std::string takeAnswer() { return std::move(answer_); }

  /// From now on reads find the end of the stream and writes fail.
  void end() { ended_ = true; }
  [[nodiscard]] bool ended() const { return ended_; }
  /// The connection is to end by a reset instead of in order.
  void resetAtEnd() { reset_ = true; }
  [[nodiscard]] bool resets() const { return reset_; }
  [[nodiscard]] bool peerClosed() const { return socket::peerClosed(transport_.handle()); }

  using httplib::Stream::write;
  bool is_readable() const override { return !ended_; }
  bool is_writable() const override { return !ended_; }
  ssize_t read(char* bytes, size_t count) override;
  ssize_t write(const char* bytes, size_t count) override;
  void get_remote_ip_and_port(std::string& ip, int& port) const override;
  void get_local_ip_and_port(std::string& ip, int& port) const override;
  /// Not the real one: the library refuses to serve descriptors beyond 1023.
  socket_t socket() const override { return 0; }

  static constexpr std::size_t headLimit = std::size_t{1024} * 1024;

 private:
  bool fill();
  bool send(const char* bytes, std::size_t count);

  Transport& transport_;
  std::string prepended_;
  std::size_t prependedAt_ = 0;
  std::vector<char> buffer_;
  std::size_t begin_ = 0;
  std::size_t end_ = 0;
  std::uint64_t untilInterruption_ = 0;
  std::function<bool()> interruption_;
  std::size_t answerLimit_ = 0;
  std::uint64_t answerSize_ = 0;
  std::string answer_;
  bool ended_ = false;
  bool reset_ = false;
};

}  // namespace sandbox
