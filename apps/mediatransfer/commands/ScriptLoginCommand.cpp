// Signing in through a script: an address for the browser, and the address that the browser reached, given
// back.
#include "commands/Commands.h"
#include "host/Host.h"
#include "host/Interrupt.h"
#include "host/ScriptSession.h"
#include "options/Failure.h"
#include "report/Advice.h"
#include "system/Browser.h"
#include "system/StandardInput.h"

#include <optional>

namespace host {
namespace {

std::string loginCommand(const Options& options) {
  return nextCall(options) + " login " + platformAndWay(options);
}

[[noreturn]] void refuse(const Options& options, const std::string& text) {
  const std::string reason = text.empty() ? "the script gives no reason" : singleLine(withoutSecrets(text));
  throw Failure(Exit::refused, std::string(options.platform->name) + " did not accept the login (" + reason +
                                   "); sign in again with: " + loginCommand(options));
}

/// Asks people for the address until the script can use it. The exit code when no login came of it.
class RedirectQuestion {
 public:
  RedirectQuestion(ScriptSession& session, const Options& options, Report& report)
      : session_(session), options_(options), report_(report) {
    if (options.timeoutSeconds > 0) end_ = Host::Clock::now() + std::chrono::seconds(options.timeoutSeconds);
  }

  std::optional<int> ask() {
    report_.note("then give the address that the browser reached, and Enter:");
    for (;;) {
      const std::optional<std::string> address = nextLine();
      if (!address) return Exit::interrupted;
      if (address->empty()) continue;
      const ScriptSession::Answer answer = session_.verify(*address);
      if (answer.verdict == ScriptSession::Verdict::accepted) return std::nullopt;
      if (answer.verdict == ScriptSession::Verdict::refused) refuse(options_, answer.text);
      report_.note("this is not the application's redirect address yet; give the one behind the consent:");
    }
  }

 private:
  /// Nothing after Ctrl-C.
  std::optional<std::string> nextLine() {
    // Ctrl-C only sets a flag, so the wait goes in slices that are too short to be felt.
    constexpr std::chrono::milliseconds slice(100);
    std::string line;
    for (;;) {
      if (interrupted()) return std::nullopt;
      switch (input_.next(line, slice)) {
        case StandardInput::State::line:
          return line;
        case StandardInput::State::ended:
          throw Failure(Exit::refused, "nobody gave the address that the browser reached; give it to: " +
                                           loginCommand(options_) + " --redirect-url URL");
        case StandardInput::State::nothing:
          break;
      }
      if (end_ && Host::Clock::now() >= *end_) {
        throw Failure(Exit::refused,
                      "nobody finished the login in the browser in time; run the command again, "
                      "--timeout SECONDS gives more time");
      }
    }
  }

  ScriptSession& session_;
  const Options& options_;
  Report& report_;
  StandardInput input_;
  std::optional<Host::Clock::time_point> end_;
};

void verifyOnce(ScriptSession& session, const Options& options, const std::string& address) {
  const ScriptSession::Answer answer = session.verify(address);
  if (answer.verdict == ScriptSession::Verdict::accepted) return;
  if (answer.verdict == ScriptSession::Verdict::refused) refuse(options, answer.text);
  throw Failure(Exit::refused, "the address '" + singleLine(withoutSecrets(address), 200) +
                                   "' is not what the browser reaches behind the consent; it begins with the "
                                   "application's redirect address");
}

/// Until the script has the login; else the exit code.
std::optional<int> bringLogin(Host& host, ScriptSession& session, const Options& options, Report& report) {
  if (!options.redirectUrl.empty()) {
    // The address belongs to the login that an earlier call has begun.
    verifyOnce(session, options, options.redirectUrl);
    return std::nullopt;
  }
  const std::string url = session.loginUrl();
  report.loginUrl({}, url);
  if (options.sandbox && !options.consentAsk) {
    // The stand-in server consents by itself, so that nobody is needed.
    verifyOnce(session, options, host.redirectOf(url));
    return std::nullopt;
  }
  if (!options.noBrowser) openBrowser(url);
  return RedirectQuestion(session, options, report).ask();
}

}  // namespace

int runScriptLogin(const Options& options, Report& report) {
  Host host(options, report, Servers::optional);
  ScriptSession session(host, options);
  if (!options.scope.empty() || options.platformId) {
    report.note(std::string(options.platform->name) +
                " goes through a script, which takes no --scope and no --platform-id: they are not used");
  }
  if (const auto exit = bringLogin(host, session, options, report)) return *exit;
  std::optional<ScriptLogin> login = session.login();
  if (!login) refuse(options, "the script has no token");
  const ScriptLogins logins = host.scriptLogins();
  host.lockLogins();
  const std::optional<ScriptLogin> former = logins.load();
  login->user = former && former->name == login->name ? former->user : newUserUuid();
  login->origin = host.server();
  logins.save(*login);
  report.person(PersonNews::loginDone, personOf(*login));
  return Exit::done;
}

}  // namespace host
