// What can be done with a login that a script made.
#include "Advice.h"
#include "Commands.h"
#include "Failure.h"
#include "Host.h"
#include "Interrupt.h"
#include "ScriptSession.h"
#include "UploadJob.h"

#include <optional>

namespace host {
namespace {

ScriptLogin requiredLogin(const Host& host, const Options& options) {
  const std::string platform(options.platform->name);
  std::optional<ScriptLogin> login = host.scriptLogins().load();
  if (!login) {
    const std::string script = options.script ? " --script" : "";
    throw Failure(Exit::refused, "nobody is signed in to " + platform +
                                     " through its script; sign in with: mediatransfer login " + platform +
                                     script);
  }
  if (options.user.empty() || options.user == login->user) return *login;
  throw Failure(Exit::refused, "no user " + options.user + " is signed in to " + platform +
                                   "; mediatransfer whoami " + platform + " shows who is");
}

[[noreturn]] void refuseLogin(const Options& options, const std::string& text) {
  throw Failure(Exit::refused, explainRefusedLogin(text, options.platform->name));
}

/// Gives the script the stored token and keeps what it made of it: it may have had to be renewed.
ScriptLogin restore(Host& host, ScriptSession& session, const Options& options) {
  const ScriptLogin stored = requiredLogin(host, options);
  if (const auto refusal = session.takeToken(stored.token)) refuseLogin(options, *refusal);
  std::optional<ScriptLogin> login = session.login();
  if (!login) refuseLogin(options, {});
  login->user = stored.user;
  if (login->categories.empty()) login->categories = stored.categories;
  host.scriptLogins().save(*login);
  return *login;
}

/// The token may have been renewed on the way; services that take a refresh token once would not take the
/// stored one again.
void keepRenewed(const Host& host, ScriptSession& session, ScriptLogin login) {
  const std::optional<ScriptLogin> now = session.login();
  if (!now || now->token == login.token) return;
  login.token = now->token;
  host.scriptLogins().save(login);
}

}  // namespace

int runScriptVerify(const Options& options, Report& report) {
  Host host(options, report, Servers::optional);
  requiredLogin(host, options);
  ScriptSession session(host, options);
  const ScriptLogin login = restore(host, session, options);
  // The service's refusal of the token shows in the second answer: the script has dropped the login by then.
  if (!session.login()) refuseLogin(options, "the service does not take the token");
  report.person(PersonNews::verified, personOf(login));
  return Exit::done;
}

int runScriptWhoami(const Options& options, Report& report) {
  const Host host(options, report, Servers::none);
  report.person(PersonNews::user, personOf(requiredLogin(host, options)));
  return Exit::done;
}

/// The stored login goes in any case; telling the service needs the script.
int runScriptLogout(const Options& options, Report& report) {
  Host host(options, report, Servers::optional);
  const ScriptLogin login = requiredLogin(host, options);
  try {
    ScriptSession session(host, options);
    if (!session.takeToken(login.token)) session.logout();
  } catch (const Failure& failure) {
    report.note(std::string("the service was not told: ") + failure.what());
  }
  if (!host.scriptLogins().forget()) {
    throw Failure(Exit::refused,
                  "the login in '" + host.loginPath() + "' cannot be taken away; check the folder's rights");
  }
  report.person(PersonNews::loggedOut, personOf(login));
  return Exit::done;
}

int runScriptUpload(const Options& options, Report& report) {
  const KBL::hostTransferRecord record = uploadRecord(options);
  const std::uint64_t size = checkedFileSize(options);
  Host host(options, report, Servers::optional);
  requiredLogin(host, options);
  ScriptSession session(host, options);
  const ScriptLogin login = restore(host, session, options);
  if (interrupted()) return Exit::interrupted;
  report.person(PersonNews::verified, personOf(login));
  UploadJob job(host, options, report, session.transfer());
  const int exit = job.run(record, size);
  keepRenewed(host, session, login);
  return exit;
}

}  // namespace host
