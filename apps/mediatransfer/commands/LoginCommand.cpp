#include "commands/Commands.h"
#include "host/Host.h"
#include "host/Interrupt.h"
#include "options/Failure.h"
#include "system/Browser.h"
#include <ExternlMediaTransfer/ExternlMediaKeys.h>
#include <ExternlMediaTransfer/ExternlMediaTransfer.h>
#include <ExternlMediaTransfer/RecordInterfaces.h>
#include <KblUtils/CastByName.h>

#include <algorithm>
#include <chrono>
#include <optional>
#include <string>

namespace host {
namespace {

/// The library's own limit when the host gives none.
constexpr int libraryTimeoutSeconds = 120;
/// What the last exchanges may take after the limit.
constexpr int slackSeconds = 60;
/// What comes behind the stored login, the list of categories and the closing address, may take this long.
constexpr std::chrono::seconds closingLimit(35);

/// The exchange behind the profile's, of YouTube alone.
constexpr const char* categoryRequest = "ExternlMediaAuthYoutubeVideoCategory";

KBL::RefPtr<KBL::IBsInfoReader> loginRecord(const Options& options) {
  auto record = KBL::adoptRef(createExternlMediaAuthInfoObject(KBL::infoTypeLogin));
  auto* const info =
      KBL::queryInterface<KBL::IBsExternlMediaLoginInfo>(record.get(), "IBsExternlMediaLoginInfo");
  if (info == nullptr) throw Failure(Cause::call, "the library cannot make a record");
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

/// One login from its start to its end. The profile's answer says that it is stored; the address that closes
/// it is the last that comes of it, and the only sign of success that every platform gives.
class LoginJob {
 public:
  LoginJob(Host& host, const Options& options, Report& report)
      : host_(host), options_(options), report_(report) {
    const int limit = options.timeoutSeconds > 0 ? options.timeoutSeconds : libraryTimeoutSeconds;
    deadline_ = Host::Clock::now() + std::chrono::seconds(limit + slackSeconds);
  }

  /// The exit code. Throws Failure when no login came of it.
  int run(KBL::IBsInfoReader* record) {
    host_.origin().begin();
    // Somebody may need minutes in the browser, in which other commands go on with the former login.
    host_.unlockLogins();
    try {
      report_.waitsFor("the account server");
      if (host_.manager().toExternlMediaAuth(record) != KBL::resultOk) {
        throw Failure(Cause::login, "the login cannot be started; run again with -v to see why");
      }
      const int exit = await();
      if (exit != Exit::done) leaveFormer();
      return exit;
    } catch (const Failure&) {
      leaveFormer();
      throw;
    }
  }

 private:
  int await() {
    while (const auto event = host_.next(deadline_)) {
      if (const auto exit = take(*event)) return *exit;
    }
    if (!interrupted() && isStored_) return endWithoutClosing();
    host_.manager().cancelLogin();
    if (interrupted()) return Exit::interrupted;
    throw Failure(Cause::network, "the login ended without any news; run again with -v to see why");
  }

  /// Once tokens have come nobody can tell from here whether they are stored.
  void leaveFormer() {
    if (!tokensCame_) host_.origin().putBack();
  }

  /// The exit code when the event is the last.
  std::optional<int> take(const Event& event) {
    if (event.kind == Event::Kind::callbackUrl) {
      host_.reportShared(event);
      return endWith(event.user);
    }
    if (event.kind == Event::Kind::answer) return takeAnswer(event);
    host_.reportShared(event);
    if (event.kind == Event::Kind::tokenChanged) {
      tokensCame_ = true;
      report_.waitsFor(std::string(options_.platform->name) + " to say who signed in");
    }
    if (event.kind == Event::Kind::loginUrl) {
      // The account server's own token is written before; from here on it is the login.
      host_.watchLogins();
      report_.waitsFor({});
      if (wantsBrowser(options_)) openBrowser(event.text);
    }
    return std::nullopt;
  }

  std::optional<int> takeAnswer(const Event& event) {
    if (event.code == KBL::ErrorCode::none) {
      isStored_ = true;
      report_.waitsFor(std::string(options_.platform->name) + " to complete the login");
      user_ = event.user;
      deadline_ = std::min(deadline_, Host::Clock::now() + closingLimit);
      return std::nullopt;
    }
    // The library's time limit cuts the category list off, too, and no closing address comes then.
    if (isStored_ && event.code == KBL::ErrorCode::loginTimeout) return endWithoutClosing();
    host_.reportShared(event);
    // The login is good without the categories.
    if (isStored_ && event.request == categoryRequest) return std::nullopt;
    return isStored_ ? endWith(user_) : Exit::refused;
  }

  int endWithoutClosing() {
    host_.manager().cancelLogin();
    report_.note("the list of categories did not come in time; the login is good without it");
    return endWith(user_);
  }

  int endWith(const std::string& user) {
    if (!host_.loginsAreKept()) {
      throw Failure(Cause::file, "the login cannot be kept in '" + host_.loginPath() +
                                     "'; check its rights and the room on its disk, then sign in again");
    }
    host_.origin().keep();
    Person person = host_.findPerson(user).value_or(Person{});
    person.user = user;
    report_.person(PersonNews::loginDone, person);
    return Exit::done;
  }

  Host& host_;
  const Options& options_;
  Report& report_;
  Host::Clock::time_point deadline_;
  bool tokensCame_ = false;
  bool isStored_ = false;
  std::string user_;
};

}  // namespace

int runLogin(const Options& options, Report& report) {
  if (!options.redirectUrl.empty()) {
    throw Failure(Exit::wrongUse,
                  "--redirect-url is for platforms that go through a script, and this login of " +
                      std::string(options.platform->name) + " does not; leave it out");
  }
  Host host(options, report, Servers::needed);
  const auto record = loginRecord(options);
  return LoginJob(host, options, report).run(record.get());
}

}  // namespace host
