#include "Commands.h"
#include "Failure.h"
#include "Host.h"
#include "Interrupt.h"
#include "boundary/ExternlMediaTransfer.h"
#include "boundary/records/ExternlMediaInfoType.h"
#include "boundary/records/ExternlMediaKeys.h"
#include "foundation/object/CastByName.h"
#include "system/Browser.h"

#include <string>

namespace host {
namespace {

/// The library's own limit when the host gives none.
constexpr int libraryTimeoutSeconds = 120;
/// What the last exchanges may take after the limit.
constexpr int slackSeconds = 60;

KBL::RefPtr<KBL::IBsInfoReader> loginRecord(const Options& options) {
  auto record = KBL::adoptRef(createExternlMediaAuthInfoObject(KBL::infoTypeLogin));
  auto* const info =
      KBL::queryInterface<KBL::IBsExternlMediaLoginInfo>(record.get(), "IBsExternlMediaLoginInfo");
  if (info == nullptr) throw Failure(Exit::refused, "the library cannot make a record");
  using Key = KBL::ExternlMediaLoginCharKey;
  const int number = options.platformId.value_or(options.platform->manager);
  info->setCharKeyConfig(Key::platformId, std::to_string(number).c_str());
  if (!options.scope.empty()) info->setCharKeyConfig(Key::scope, options.scope.c_str());
  if (options.timeoutSeconds > 0) {
    info->setCharKeyConfig(Key::timeout_seconds, std::to_string(options.timeoutSeconds).c_str());
  }
  return record;
}

/// The stand-in server that consents by itself needs no browser.
bool wantsBrowser(const Options& options) {
  return !options.noBrowser && (!options.sandbox || options.consentAsk);
}

/// The address that closes the login is the last that comes of it, and the only sign of success that every
/// platform gives; an error before the profile answer ends the login.
int awaitLogin(Host& host, const Options& options, Report& report) {
  const int limit = options.timeoutSeconds > 0 ? options.timeoutSeconds : libraryTimeoutSeconds;
  bool profileKnown = false;
  for (;;) {
    const auto event = host.next(Host::Clock::now() + std::chrono::seconds(limit + slackSeconds));
    if (!event) break;
    host.reportShared(*event);
    if (event->kind == Event::Kind::loginUrl && wantsBrowser(options)) openBrowser(event->text);
    if (event->kind == Event::Kind::callbackUrl) {
      if (!host.loginsAreKept()) {
        throw Failure(Exit::refused, "the login cannot be kept in '" + host.loginPath() +
                                         "'; check its rights and the room on its disk, then sign in again");
      }
      Person person = host.findPerson(event->user).value_or(Person{});
      person.user = event->user;
      report.person(PersonNews::loginDone, person);
      return Exit::done;
    }
    if (event->kind != Event::Kind::answer) continue;
    if (event->code == KBL::ErrorCode::none) profileKnown = true;
    // After the profile only the categories can fail, and the login is good without them.
    if (event->code != KBL::ErrorCode::none && !profileKnown) return Exit::refused;
  }
  host.manager().cancelLogin();
  if (interrupted()) return Exit::interrupted;
  throw Failure(Exit::refused, "the login ended without any news; run again with -v to see why");
}

}  // namespace

int runLogin(const Options& options, Report& report) {
  if (!options.redirectUrl.empty()) {
    throw Failure(Exit::wrongUse,
                  "--redirect-url is for platforms that go through a script, and this login of " +
                      std::string(options.platform->name) + " does not; leave it out");
  }
  Host host(options, report, Servers::needed);
  const auto record = loginRecord(options);
  if (host.manager().toExternlMediaAuth(record.get()) != KBL::resultOk) {
    throw Failure(Exit::refused, "the login cannot be started; run again with -v to see why");
  }
  return awaitLogin(host, options, report);
}

}  // namespace host
