#include "commands/Verification.h"

#include "host/Interrupt.h"
#include "options/Failure.h"
#include <BsNet/NetReply.h>
#include <ExternlMediaTransfer/RecordInterfaces.h>

namespace host {
namespace {

/// Two exchanges of 30 s each, with room for a slow machine.
constexpr std::chrono::seconds silenceLimit(90);

/// The exchange that trades the refresh token; when it alone fails, the token at hand is untouched.
constexpr const char* renewal = "ExternlMediaAuthUserSupportToken";

/// The old refresh token is spent by now, so an upload at least uses what it brought.
void tellLostRenewal(const Host& host, const Options& options, Report& report) {
  const std::string line = "the renewed login cannot be kept in '" + host.loginPath() +
                           "'; check its rights and the room on its disk, then sign in again";
  if (options.command != Command::upload) throw Failure(Cause::file, line);
  report.trouble(line, Cause::file);
}

Verification judge(const Event& answer, Host& host, const Options& options, Report& report) {
  if (answer.code == KBL::ErrorCode::none) {
    if (!host.loginsAreKept()) tellLostRenewal(host, options, report);
    Person person = host.findPerson(answer.user).value_or(Person{});
    person.user = answer.user;
    report.person(PersonNews::verified, person);
    return Verification::good;
  }
  const bool serverAnswered = answer.code > 0 && answer.code < KBL::transportErrorBase;
  if (answer.request == renewal && serverAnswered) {
    report.notRenewed(answer.code, answer.text);
    return Verification::notRenewed;
  }
  host.reportShared(answer);
  return Verification::failed;
}

}  // namespace

Verification verifyLogin(Host& host, const Options& options, Report& report) {
  // Its result tells no more than the answer, which comes in any case.
  report.waitsFor("the account server");
  host.manager().toVerifyAccessToken(options.user.c_str());
  for (;;) {
    const auto event = host.next(Host::Clock::now() + silenceLimit);
    if (!event) break;
    if (event->kind == Event::Kind::answer && event->infoType == KBL::infoTypeVerifyAccessToken) {
      report.waitsFor({});
      return judge(*event, host, options, report);
    }
    host.reportShared(*event);
  }
  if (interrupted()) return Verification::interrupted;
  throw Failure(Cause::network,
                "the check of the login ended without any news; run again with -v to see why");
}

}  // namespace host
