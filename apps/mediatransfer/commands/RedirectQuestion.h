#pragma once

#include "host/ScriptSession.h"
#include "options/Options.h"
#include "report/Report.h"
#include "system/StandardInput.h"
#include <ExternlMediaTransfer/LoopbackRedirect.h>

#include <chrono>
#include <optional>
#include <string>

namespace host {

/// How the address that the browser reaches behind the consent comes to the script: caught where it is one of
/// this machine with a port, given by people everywhere. Main thread.
class RedirectQuestion {
 public:
  /// Listens at the redirect address of the options' application where that can be done.
  RedirectQuestion(const Options& options, Report& report);
  /// A browser that still waits is told that no login came of it.
  ~RedirectQuestion();
  RedirectQuestion(const RedirectQuestion&) = delete;
  RedirectQuestion& operator=(const RedirectQuestion&) = delete;

  /// The application's redirect address, with the port that is listened at.
  [[nodiscard]] const std::string& redirect() const { return redirect_; }

  /// Waits for the end of the login that `loginUrl` begins, until the script can use an address; else the
  /// exit code. Throws Failure when no login comes of it.
  [[nodiscard]] std::optional<int> ask(ScriptSession& session, const std::string& loginUrl);

  /// The login is stored, which the browser says, too.
  void tellDone();

 private:
  using Clock = std::chrono::steady_clock;

  void listen();
  void explain();
  [[nodiscard]] bool isListening() const { return !catcher_.address().empty(); }
  [[nodiscard]] std::optional<std::string> caught(std::chrono::milliseconds limit);
  [[nodiscard]] std::optional<std::string> given(std::chrono::milliseconds limit);
  [[nodiscard]] bool isUsed(ScriptSession& session, const std::string& address);

  const Options& options_;
  Report& report_;
  std::string redirect_;
  KBL::LoopbackRedirect catcher_;
  bool browserWaits_ = false;
  StandardInput input_;
  bool inputEnded_ = false;
};

/// The Failure for a login that the service or the script did not take, with the script's reason.
[[noreturn]] void refuseScriptLogin(const Options& options, const std::string& reason);

}  // namespace host
