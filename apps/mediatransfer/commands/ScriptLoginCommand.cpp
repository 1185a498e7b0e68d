// Signing in through a script: an address for the browser, and the address that the browser reached, given
// back.
#include "commands/Commands.h"
#include "commands/RedirectQuestion.h"
#include "host/Host.h"
#include "host/ScriptSession.h"
#include "host/ServerOrigin.h"
#include "options/Failure.h"
#include "report/Advice.h"
#include "system/Browser.h"
#include <ExternlMediaTransfer/LoopbackRedirect.h>

#include <optional>

namespace host {
namespace {

void verifyOnce(ScriptSession& session, const Options& options, const std::string& address) {
  const ScriptSession::Answer answer = session.verify(address);
  if (answer.verdict == ScriptSession::Verdict::accepted) return;
  if (answer.verdict == ScriptSession::Verdict::refused) refuseScriptLogin(options, answer.text);
  throw Failure(Cause::login, "the address '" + singleLine(withoutSecrets(address), 200) +
                                  "' is not what the browser reaches behind the consent; it begins with the "
                                  "application's redirect address");
}

/// The stand-in server consents by itself, so that nobody is needed.
bool consentsByItself(const Options& options) {
  return options.sandbox && !options.consentAsk;
}

/// The redirect address of a login that an earlier call has begun: where a free port was wanted, with the one
/// that it was then.
std::string redirectOfBegun(const Options& options) {
  const std::string redirect = redirectAddress(options);
  const std::string wanted = originOf(redirect);
  if (!KBL::LoopbackRedirect::isCatchable(redirect) || !wanted.ends_with(":0")) return redirect;
  return originOf(options.redirectUrl) + redirect.substr(wanted.size());
}

/// Until the script has the login; else the exit code.
std::optional<int> bringLogin(Host& host, ScriptSession& session, const Options& options, Report& report,
                              RedirectQuestion* question) {
  if (!options.redirectUrl.empty()) {
    // The address belongs to the login that an earlier call has begun.
    verifyOnce(session, options, options.redirectUrl);
    return std::nullopt;
  }
  const std::string url = session.loginUrl();
  report.loginUrl({}, url);
  if (question == nullptr) {
    verifyOnce(session, options, host.redirectOf(url));
    return std::nullopt;
  }
  if (!options.noBrowser) openBrowser(url);
  return question->ask(session, url);
}

}  // namespace

int runScriptLogin(const Options& options, Report& report) {
  Host host(options, report, Servers::optional);
  std::optional<RedirectQuestion> question;
  if (options.redirectUrl.empty() && !consentsByItself(options)) question.emplace(options, report);
  ScriptSession session(host, options, question ? question->redirect() : redirectOfBegun(options));
  if (!options.scope.empty() || options.platformId) {
    report.note(std::string(options.platform->name) +
                " goes through a script, which takes no --scope and no --platform-id: they are not used");
  }
  if (const auto exit = bringLogin(host, session, options, report, question ? &*question : nullptr)) {
    return *exit;
  }
  std::optional<ScriptLogin> login = session.login();
  if (!login) refuseScriptLogin(options, "the script has no token");
  const ScriptLogins logins = host.scriptLogins();
  host.lockLogins();
  const std::optional<ScriptLogin> former = logins.load();
  login->user = former && former->name == login->name ? former->user : newUserUuid();
  login->origin = host.server();
  logins.save(*login);
  if (question) question->tellDone();
  report.person(PersonNews::loginDone, personOf(*login));
  return Exit::done;
}

}  // namespace host
