#include "commands/RedirectQuestion.h"

#include "host/Interrupt.h"
#include "options/Failure.h"
#include "report/Advice.h"

namespace host {
namespace {

/// Ctrl-C only sets a flag, so each wait goes in slices that are too short to be felt.
constexpr std::chrono::milliseconds slice(100);
/// Of a login that nobody has to copy anything for; the other commands' own limit.
constexpr std::chrono::seconds usualLimit(120);

constexpr const char* mayClose = "You may close this window.";

std::string platformName(const Options& options) {
  return std::string(options.platform->name);
}

}  // namespace

void refuseScriptLogin(const Options& options, const std::string& reason) {
  const std::string shown =
      reason.empty() ? "the script gives no reason" : singleLine(withoutSecrets(reason));
  throw Failure(Cause::login, platformName(options) + " did not accept the login (" + shown +
                                  "); sign in again with: " + signInCall(options));
}

RedirectQuestion::RedirectQuestion(const Options& options, Report& report)
    : options_(options), report_(report), redirect_(redirectAddress(options)) {
  listen();
}

RedirectQuestion::~RedirectQuestion() {
  if (!browserWaits_) return;
  catcher_.answer("Not signed in to " + platformName(options_),
                  std::string("The program says why. ") + mayClose);
}

void RedirectQuestion::listen() {
  using KBL::LoopbackRedirect;
  if (!LoopbackRedirect::isCatchable(redirect_)) return;
  if (catcher_.listen(redirect_, LoopbackRedirect::Ipv6::forLocalhost) ==
      LoopbackRedirect::Result::listening) {
    redirect_ = catcher_.address();
  }
}

std::optional<int> RedirectQuestion::ask(ScriptSession& session, const std::string& loginUrl) {
  if (isListening() && !catcher_.expectReplyTo(loginUrl)) catcher_.close();
  explain();
  std::optional<Clock::time_point> end;
  if (options_.timeoutSeconds > 0) {
    end = Clock::now() + std::chrono::seconds(options_.timeoutSeconds);
  } else if (isListening()) {
    end = Clock::now() + usualLimit;
  }
  for (;;) {
    if (interrupted()) return Exit::interrupted;
    std::optional<std::string> address = isListening() ? caught(slice) : given(slice);
    if (!address && isListening()) address = given(std::chrono::milliseconds(0));
    if (address && isUsed(session, *address)) return std::nullopt;
    if (end && Clock::now() >= *end) {
      throw Failure(Cause::login,
                    "nobody finished the login in the browser in time; run the command again, "
                    "--timeout SECONDS gives more time");
    }
  }
}

void RedirectQuestion::explain() {
  if (isListening()) {
    report_.note("waiting for the browser to come back; nothing has to be copied");
    report_.note("(should it end at an error page, give that page's address here, and Enter)");
    return;
  }
  if (KBL::LoopbackRedirect::isCatchable(redirect_)) {
    report_.note("the program cannot listen at " + redirect_ + ": another one does, or it is not allowed to");
  }
  report_.note("behind the consent the browser ends at an error page: that is as it should be.");
  report_.note("Give the address of that page here, the whole of it, and Enter:");
}

std::optional<std::string> RedirectQuestion::caught(std::chrono::milliseconds limit) {
  browserWaits_ = false;
  std::optional<std::string> address = catcher_.wait(limit);
  browserWaits_ = address.has_value();
  return address;
}

/// A line of the standard input that is not empty.
std::optional<std::string> RedirectQuestion::given(std::chrono::milliseconds limit) {
  if (inputEnded_) return std::nullopt;
  std::string line;
  switch (input_.next(line, limit)) {
    case StandardInput::State::line:
      if (line.empty()) return std::nullopt;
      return line;
    case StandardInput::State::ended:
      if (interrupted()) return std::nullopt;
      inputEnded_ = true;
      if (isListening()) return std::nullopt;
      // The stand-ins of this process go with it, and with them the login that has begun.
      if (options_.sandbox) {
        throw Failure(Cause::login, "nobody gave the address that the browser reached; sign in again with: " +
                                        signInCall(options_));
      }
      throw Failure(Cause::login, "nobody gave the address that the browser reached; give it to: " +
                                      signInCall(options_) + " --redirect-url URL");
    case StandardInput::State::nothing:
      break;
  }
  return std::nullopt;
}

bool RedirectQuestion::isUsed(ScriptSession& session, const std::string& address) {
  const ScriptSession::Answer answer = session.verify(address);
  if (answer.verdict == ScriptSession::Verdict::accepted) return true;
  if (answer.verdict == ScriptSession::Verdict::refused) refuseScriptLogin(options_, answer.text);
  if (!browserWaits_) {
    report_.note("this is not the application's redirect address yet; give the one behind the consent:");
  }
  return false;
}

void RedirectQuestion::tellDone() {
  if (!browserWaits_) return;
  browserWaits_ = false;
  catcher_.answer("Signed in to " + platformName(options_), mayClose);
}

}  // namespace host
