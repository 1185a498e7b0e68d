#pragma once

#include "foundation/tls/TlsLibrary.h"

#include <utility>

namespace KBL {

/// A stay of the calling thread inside libcurl and its TLS library. That library tears its state down when
/// the process exits, while detached workers may still run: an exit handler that runs ahead of it closes a
/// gate and waits a bounded time for those inside, who ask `isClosing` every beat or are woken for it. A stay
/// inside a stay costs nothing. What the thread's TLS library had to tell before is there again afterwards.
class CurlStay {
 public:
  CurlStay();
  ~CurlStay();
  CurlStay(const CurlStay&) = delete;
  CurlStay& operator=(const CurlStay&) = delete;

  /// False once the process is closing: libcurl must not be entered then.
  [[nodiscard]] bool isGranted() const { return isGranted_; }

  /// True once the process is closing; a stay then ends as soon as it can. Any thread.
  [[nodiscard]] static bool isClosing();

  /// Calls code of the host's in the middle of a stay, maybe below frames of libcurl. Such code may take its
  /// time, or end the process, so meanwhile the thread is outside. Once the process has closed libcurl it is
  /// kept for good when the call returns.
  template <class Call>
  static auto callHost(Call&& call) {
    const Outside outside;
    return std::forward<Call>(call)();
  }

  /// Keeps an object of libcurl's that may no longer be freed.
  static void park(void* object) noexcept;

  /// What a stay that waits for longer than a beat has called when the process is closing: `wake` with
  /// `object`, from another thread. It asks `isClosing` whenever it was woken, and before it begins to wait.
  class WakeUp {
   public:
    WakeUp(void (*wake)(void* object), void* object);
    ~WakeUp();
    WakeUp(const WakeUp&) = delete;
    WakeUp& operator=(const WakeUp&) = delete;

   private:
    friend struct WakeUps;
    void (*const wake_)(void* object);
    void* const object_;
    WakeUp* next_ = nullptr;
    WakeUp** place_ = nullptr;  // what leads here
  };

 private:
  class Outside {
   public:
    Outside();
    ~Outside();
    Outside(const Outside&) = delete;
    Outside& operator=(const Outside&) = delete;

   private:
    CurlStay* const stay_;
    bool isOut_ = false;
  };

  const bool isOutermost_;
  const bool isGranted_;
  TlsThread tls_;  // of an outermost stay
};

}  // namespace KBL
