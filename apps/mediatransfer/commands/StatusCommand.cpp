#include "commands/Commands.h"
#include "host/DataFolders.h"
#include "host/Host.h"
#include "options/Failure.h"
#include "report/Advice.h"

#include <optional>
#include <string>

namespace host {
namespace {

/// Looks through the logins of all profiles, as `whoami` would one by one; asks no server.
class StatusJob {
 public:
  StatusJob(const Options& options, Report& report) : options_(options), report_(report) {}

  int run() {
    for (const std::string& profile : knownProfiles(options_.cacheDir)) {
      for (const Platform& platform : platforms) {
        if (platform.manager >= 0) show(profile, platform, false);
        if (platform.hasScript()) show(profile, platform, true);
      }
    }
    if (!foundAny_ && !failed_) {
      report_.note("nobody is signed in; sign in with: " + nextCall(options_) + " login PLATFORM");
    }
    return failed_ ? Exit::refused : Exit::done;
  }

 private:
  /// One profile that cannot be read keeps nobody from the others.
  void show(const std::string& profile, const Platform& platform, bool byScript) {
    Options options = options_;
    options.command = Command::whoami;
    options.profile = profile;
    options.platform = &platform;
    // As a call names the way: not at all where it is the one that an upload takes.
    options.script = byScript && platform.native;
    options.manager = !byScript && !platform.native;
    if (!Host::hasLogins(options)) return;
    try {
      const std::optional<SignedIn> login = signedIn(options, byScript);
      if (!login) return;
      foundAny_ = true;
      report_.signedIn(*login);
    } catch (const Failure& failure) {
      failed_ = true;
      report_.trouble(failure.what(), failure.cause);
    }
  }

  std::optional<SignedIn> signedIn(const Options& options, bool byScript) {
    const std::string profile = options.profile.empty() ? usualProfile : options.profile;
    SignedIn login{profile, std::string(options.platform->name), platformAndWay(options), byScript, {}, {}};
    Host host(options, report_, Servers::none);
    if (!byScript) {
      const std::optional<Person> person = host.findPerson({});
      if (!person) return std::nullopt;
      login.person = *person;
      login.server = host.origin().kept();
      return login;
    }
    const std::optional<ScriptLogin> stored = host.scriptLogins().load();
    if (!stored) {
      throw Failure(Cause::login,
                    "the " + login.platform + " login in '" + host.loginPath() +
                        "' cannot be read: it is damaged, or its key is another; sign in again with: " +
                        signInCall(options));
    }
    login.person = personOf(*stored);
    login.server = stored->origin;
    return login;
  }

  const Options& options_;
  Report& report_;
  bool foundAny_ = false;
  bool failed_ = false;
};

}  // namespace

int runStatus(const Options& options, Report& report) {
  return StatusJob(options, report).run();
}

}  // namespace host
