#pragma once

#include <BsNet/IBsInfoReader.h>
#include <KblUtils/RefPtr.h>
#include <KblUtils/TimeUtil.h>
#include <KblUtils/Timer.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>

namespace KBL {

class BsExternlMediaAuthUserSupportSessionRequest;

/// Timer and clock of the polling of one login. Owned by its session request; while it polls it holds a
/// reference on that request and on the info of the login, so neither dies under a tick. Ticks run on the
/// timer's thread, one at a time, and none begins once the polling has finished.
class ExternlMediaAuthThirdPollingProxy
    : public std::enable_shared_from_this<ExternlMediaAuthThirdPollingProxy> {
 public:
  /// `request` owns the new object and is not counted by it until the polling starts.
  ExternlMediaAuthThirdPollingProxy(std::string name, std::int32_t timeoutMs,
                                    BsExternlMediaAuthUserSupportSessionRequest* request);

  /// What each tick runs.
  void setTimerFunction(std::function<void()> timerFunction);
  /// Starts the polling, with the time limit that `info` (null allowed) asks for. A polling that runs is
  /// ended first, silently.
  void startThirdProcess(IBsInfoReader* info);
  /// Reports the time limit to the host's callbacks.
  void setPollingTimeout(IBsInfoReader* info);
  /// Ends the polling. Only the first call of one polling releases and stops; later ones only log. The timer
  /// is stopped from another thread, a little later, never from within its own tick.
  void finishThirdProcess(IBsInfoReader* info, const std::string& message);
  /// Expires the timer, and gives the reference on the request back, late.
  void stopPollingTimer();

  [[nodiscard]] const std::string& name() const { return name_; }
  [[nodiscard]] std::int32_t timeoutMs() const { return timeoutMs_; }
  /// True when the time limit has passed since the start.
  [[nodiscard]] bool timeLimitReached() const { return span_.elapsedMs() >= timeoutMs_; }

 private:
  bool startTimer(IBsInfoReader* info);
  void tick();
  [[nodiscard]] bool stopLater();

  std::atomic<std::int32_t> timeoutMs_;
  const std::string name_;
  BsExternlMediaAuthUserSupportSessionRequest* const request_;
  std::mutex mutex_;  // guards what follows; a leaf but for the timer's own lock
  std::function<void()> timerFunction_;
  std::shared_ptr<Timer> timer_;
  bool polling_ = false;
  RefPtr<IBsInfoReader> info_;                                       // held while polling_
  RefPtr<BsExternlMediaAuthUserSupportSessionRequest> heldRequest_;  // from the start to the timer's stop
  TimeSpan span_;
};

}  // namespace KBL
