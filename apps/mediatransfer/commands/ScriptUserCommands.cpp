// What can be done with a login that a script made.
#include "commands/Commands.h"
#include "commands/UploadBatch.h"
#include "commands/UploadJob.h"
#include "host/Host.h"
#include "host/ScriptSession.h"
#include "options/Failure.h"
#include "report/Advice.h"

#include <optional>

namespace host {
namespace {

ScriptLogin requiredLogin(const Host& host, const Options& options) {
  const std::string platform(options.platform->name);
  std::optional<ScriptLogin> login = host.scriptLogins().load();
  if (!login) {
    throw Failure(Cause::login, "nobody is signed in to " + platform +
                                    " through its script; sign in with: " + signInCall(options));
  }
  if (options.user.empty() || options.user == login->user) return *login;
  throw Failure(Cause::login, "no user " + options.user + " is signed in to " + platform + "; " +
                                  whoCall(options) + " shows who is");
}

[[noreturn]] void refuseLogin(const Options& options, const std::string& text) {
  throw Failure(Cause::login, explainRefusedLogin(text, platformAndWay(options), nextCall(options)));
}

/// What the script made of the stored login, which may have had to be renewed, is kept.
ScriptLogin keep(const Host& host, const ScriptLogin& stored, ScriptLogin login) {
  login.user = stored.user;
  login.origin = host.server();
  if (login.categories.empty()) login.categories = stored.categories;
  host.scriptLogins().save(login);
  return login;
}

/// Gives the script the stored token. Services that take a refresh token once would refuse a second command
/// that comes with the same one, so the lock is held until the outcome is stored.
ScriptLogin restore(Host& host, ScriptSession& session, const Options& options) {
  host.lockLogins();
  const ScriptLogin stored = requiredLogin(host, options);
  host.requireOrigin(stored.origin);
  if (const auto refusal = session.takeToken(stored.token)) refuseLogin(options, *refusal);
  const std::optional<ScriptLogin> login = session.login();
  if (!login) refuseLogin(options, {});
  ScriptLogin kept = keep(host, stored, *login);
  host.unlockLogins();
  return kept;
}

/// The token may have been renewed on the way; services that take a refresh token once would not take the
/// stored one again. A login that another command has stored meanwhile stays.
void keepRenewed(Host& host, ScriptSession& session, ScriptLogin login) {
  const std::optional<ScriptLogin> now = session.login();
  if (!now || now->token == login.token) return;
  host.lockLogins();
  const std::optional<ScriptLogin> stored = host.scriptLogins().load();
  if (stored && stored->token == login.token) {
    login.token = now->token;
    host.scriptLogins().save(login);
  }
  host.unlockLogins();
}

/// Throws Failure when the service was to be asked and did not say.
void requireAnswer(const ScriptSession::CheckResult& result) {
  const std::string reason = " (" + singleLine(withoutSecrets(result.text), 240) + "); ";
  if (result.check == ScriptSession::Check::unreachable) {
    throw Failure(Cause::network, "the service cannot be reached to ask about the login" + reason +
                                      "check the network and --proxy, or look at the stored login alone with "
                                      "--offline");
  }
  if (result.check == ScriptSession::Check::undecided) {
    throw Failure(Cause::refused, "the service does not say whether the login is good" + reason +
                                      "run the command again later");
  }
}

}  // namespace

int runScriptVerify(const Options& options, Report& report) {
  Host host(options, report, Servers::optional);
  requiredLogin(host, options);
  ScriptSession session(host, options);
  host.lockLogins();
  const ScriptLogin stored = requiredLogin(host, options);
  host.requireOrigin(stored.origin);
  const ScriptSession::CheckResult result = session.checkToken(stored.token);
  if (result.check == ScriptSession::Check::refused) refuseLogin(options, result.text);
  // It may have been renewed whatever came of the question.
  const std::optional<ScriptLogin> login = session.login();
  if (!login) refuseLogin(options, {});
  const Person person = personOf(keep(host, stored, *login));
  requireAnswer(result);
  report.person(result.check == ScriptSession::Check::good ? PersonNews::verified : PersonNews::stored,
                person);
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
  host.lockLogins();
  const ScriptLogin login = requiredLogin(host, options);
  try {
    host.requireOrigin(login.origin);
    ScriptSession session(host, options);
    if (!session.takeToken(login.token)) session.logout();
  } catch (const Failure& failure) {
    report.note(std::string("the service was not told: ") + failure.what());
  }
  if (!host.scriptLogins().forget()) {
    throw Failure(Cause::file,
                  "the login in '" + host.loginPath() + "' cannot be taken away; check the folder's rights");
  }
  report.person(PersonNews::loggedOut, personOf(login));
  return Exit::done;
}

namespace {

/// Uploads through the script, each with a transfer of its own and the login as it is stored by then.
class ScriptUploads final : public UploadWay {
 public:
  ScriptUploads(const Options& options, Report& report) : options_(options), report_(report) {}

  std::optional<int> begin() override {
    host_.emplace(options_, report_, Servers::optional);
    requiredLogin(*host_, options_);
    open();
    report_.person(PersonNews::verified, personOf(login_));
    return std::nullopt;
  }

  int upload(const Options& options, const KBL::hostTransferRecord& record, std::uint64_t size) override {
    if (!session_) open();
    UploadJob job(*host_, options, report_, session_->transfer());
    const int exit = job.run(record, size);
    keepRenewed(*host_, *session_, login_);
    session_.reset();
    return exit;
  }

 private:
  void open() {
    session_.emplace(*host_, options_);
    login_ = restore(*host_, *session_, options_);
  }

  const Options& options_;
  Report& report_;
  std::optional<Host> host_;
  std::optional<ScriptSession> session_;
  ScriptLogin login_;
};

}  // namespace

int runScriptUpload(const Options& options, Report& report) {
  ScriptUploads way(options, report);
  return uploadAll(options, report, way);
}

}  // namespace host
