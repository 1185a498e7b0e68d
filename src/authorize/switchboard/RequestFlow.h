#pragma once

#include <atomic>
#include <utility>

namespace KBL {

/// What the requests of one login, or of one renewal of a token, have in common. Shared by them and by
/// whoever started them; goes with the last of them. Any thread.
class RequestFlow {
 public:
  RequestFlow() = default;
  virtual ~RequestFlow() = default;
  RequestFlow(const RequestFlow&) = delete;
  RequestFlow& operator=(const RequestFlow&) = delete;

  /// From here on no call of a host callback begins for the flow.
  void cancel() { canceled_ = true; }
  [[nodiscard]] bool canceled() const { return canceled_; }

  /// An answer of the flow comes to be stored.
  void beginAnswer() { answerDropped_ = false; }
  /// The answer, or a part of it, is dropped. True the first time of an answer.
  [[nodiscard]] bool dropAnswer() { return !answerDropped_.exchange(true); }

 private:
  std::atomic<bool> canceled_{false};
  std::atomic<bool> answerDropped_{false};
};

/// While it lives, what this thread tells a manager is told for `flow` (null: for none). The caller keeps the
/// flow alive meanwhile. Scopes nest.
class ScopedRequestFlow {
 public:
  explicit ScopedRequestFlow(RequestFlow* flow) : former_(std::exchange(ofThisThread(), flow)) {}
  ~ScopedRequestFlow() { ofThisThread() = former_; }
  ScopedRequestFlow(const ScopedRequestFlow&) = delete;
  ScopedRequestFlow& operator=(const ScopedRequestFlow&) = delete;

  /// The flow that this thread works for, or null.
  [[nodiscard]] static RequestFlow* current() { return ofThisThread(); }

 private:
  static RequestFlow*& ofThisThread() {
    static thread_local RequestFlow* flow = nullptr;
    return flow;
  }

  RequestFlow* const former_;
};

}  // namespace KBL
