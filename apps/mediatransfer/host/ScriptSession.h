#pragma once

#include "host/Host.h"
#include "host/ScriptLogins.h"
#include "options/Options.h"
#include <ExternlMediaTransfer/IExternlMediaTransfer.h>
#include <KblUtils/RefPtr.h>

#include <optional>
#include <string>

namespace host {

/// Where the service sends the browser at the end of a login: the application's redirect address of the
/// options, or one that suits the stand-ins of this process.
[[nodiscard]] std::string redirectAddress(const Options& options);

/// Throws Failure unless there is a Python home with scripts that can be handed on to Python; `who` needs it.
void requirePythonHome(const std::string& home, const std::string& who);
/// Throws Failure unless an interpreter runs the scripts in the home of the options. Transfers have to be
/// open.
void requireScriptsToRun(const Options& options);

/// One transfer whose calls a script serves, set up for the application of the options. Every operation runs
/// in the caller's thread and may take as long as the service does.
class ScriptSession {
 public:
  /// Throws Failure when the application is not told, or there is no Python home, no script in it or no
  /// interpreter.
  ScriptSession(Host& host, const Options& options)
      : ScriptSession(host, options, redirectAddress(options)) {}
  /// The same with a redirect address that the options do not have so.
  ScriptSession(Host& host, const Options& options, const std::string& redirect);

  /// The address for the browser, which begins a login. Throws Failure when the script gives none.
  [[nodiscard]] std::string loginUrl();

  enum class Verdict { accepted, notUsable, refused };
  struct Answer {
    Verdict verdict = Verdict::refused;
    std::string text;  ///< the script's, when it refused
  };
  /// Hands the address over that the browser reached.
  [[nodiscard]] Answer verify(const std::string& redirectUrl);

  /// Takes a stored token back. The script's text when it does not take it; nothing when it does.
  [[nodiscard]] std::optional<std::string> takeToken(const std::string& token);
  enum class Check {
    good,
    refused,      ///< the service does not take it, or it has expired
    unreachable,  ///< the service cannot be asked
    undecided,    ///< the service answers, and says something else
    notAsked      ///< it is stored, and nobody was asked
  };
  struct CheckResult {
    Check check = Check::refused;
    std::string text;  ///< the script's reason
  };
  /// Takes a stored token back in a command that wants to know whether it is good. Throws Failure for a
  /// script that cannot tell.
  [[nodiscard]] CheckResult checkToken(const std::string& token);
  /// What the script knows of the login, renewed where it had to be; nothing without a valid one. The uuid is
  /// left empty.
  [[nodiscard]] std::optional<ScriptLogin> login();
  void logout();

  [[nodiscard]] const KBL::RefPtr<KBL::IExternlMediaTransfer>& transfer() const { return transfer_; }

 private:
  void setApplication(const std::string& redirect);

  /// The service that a call asks, for people who wait.
  [[nodiscard]] std::string serviceName() const { return std::string(options_.platform->name); }

  const Options& options_;
  Report& report_;
  KBL::RefPtr<KBL::IExternlMediaTransfer> transfer_;
};

}  // namespace host
