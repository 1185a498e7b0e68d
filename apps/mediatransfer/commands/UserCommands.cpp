#include "commands/Commands.h"
#include "commands/Verification.h"
#include "host/Host.h"
#include "options/Failure.h"
#include "report/Advice.h"

#include <string>

namespace host {
namespace {

/// Waits for nothing: what the manager reported during the call is in the queue already.
bool reportQueued(Host& host) {
  bool reported = false;
  for (;;) {
    const auto event = host.next(Host::Clock::now());
    if (!event) return reported;
    host.reportShared(*event);
    reported = reported || event->code != KBL::ErrorCode::none;
  }
}

[[noreturn]] void refuseUnknown(const Options& options) {
  const std::string platform(options.platform->name);
  if (options.user.empty()) {
    throw Failure(Cause::login,
                  "nobody is signed in to " + platform + "; sign in with: " + signInCall(options));
  }
  throw Failure(Cause::login, "no user " + options.user + " is signed in to " + platform + "; " +
                                  whoCall(options) + " shows who is");
}

}  // namespace

int runVerify(const Options& options, Report& report) {
  if (options.offline) {
    throw Failure(Exit::wrongUse, "--offline is for platforms that go through a script; " + whoCall(options) +
                                      " shows a stored login without asking anybody");
  }
  Host host(options, report, Servers::needed);
  switch (verifyLogin(host, options, report)) {
    case Verification::good:
      return Exit::done;
    case Verification::interrupted:
      return Exit::interrupted;
    case Verification::notRenewed:
    case Verification::failed:
      break;
  }
  return Exit::refused;
}

int runWhoami(const Options& options, Report& report) {
  Host host(options, report, Servers::none);
  const auto person = host.findPerson(options.user);
  if (!person) refuseUnknown(options);
  report.person(PersonNews::user, *person);
  return Exit::done;
}

int runLogout(const Options& options, Report& report) {
  Host host(options, report, Servers::none);
  const auto person = host.findPerson(options.user);
  const bool gone = host.manager().logout(options.user.c_str()) == KBL::resultOk;
  const bool reported = reportQueued(host);
  if (gone && !host.loginsAreKept()) {
    throw Failure(Cause::file, "the login cannot be taken out of '" + host.loginPath() +
                                   "'; check its rights and the room on its disk");
  }
  if (gone) {
    if (!host.findPerson({})) host.origin().forget();
    report.person(PersonNews::loggedOut, person.value_or(Person{}));
    return Exit::done;
  }
  if (!reported) refuseUnknown(options);
  return Exit::refused;
}

}  // namespace host
