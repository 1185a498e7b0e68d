#include "sandbox/services/account/ConsentPage.h"

#include "sandbox/base/Text.h"
#include "sandbox/services/HtmlPage.h"

#include <string>

namespace sandbox {

namespace {

constexpr const char* consentPath = "/consent/";
constexpr const char* callbackPath = "/account/callback";

Reply unknownLogin() {
  return htmlPage(404, "Unknown sign-in",
                  "<p>This sign-in does not exist, or the sandbox was started anew.</p>\n");
}

Reply outcome(Decision decision) {
  if (decision == Decision::allowed) {
    return htmlPage(200, "Access allowed",
                    "<p role=\"status\">You can close this page and return to the application.</p>\n");
  }
  return htmlPage(200, "Access denied",
                  "<p role=\"status\">Nothing was shared. You can close this page.</p>\n");
}

Reply nobodyAnswers() {
  return htmlPage(
      200, "Nobody answers",
      "<p>This sandbox is set to leave logins without an answer. The application waits until its own "
      "limit.</p>\n");
}

std::string scopeList(const std::vector<std::string>& scopes) {
  if (scopes.empty()) return "<p>It asks for no particular permission.</p>\n";
  std::string list = "<p>It asks for:</p>\n<ul>\n";
  for (const std::string& scope : scopes) list += "<li>" + htmlEscaped(scope) + "</li>\n";
  return list + "</ul>\n";
}

std::string userChoice(const std::vector<User>& users, const std::string& chosen) {
  std::string choice = "<fieldset>\n<legend>Sign in as</legend>\n";
  for (const User& user : users) {
    choice += "<label><input type=\"radio\" name=\"user\" value=\"" + htmlEscaped(user.openId) + "\"" +
              (user.openId == chosen ? " checked" : "") + "> " + htmlEscaped(user.name) + " (" +
              htmlEscaped(user.email) + ")</label>\n";
  }
  return choice + "</fieldset>\n";
}

/// "http://HOST:PORT" of an address.
std::string originOf(const std::string& address) {
  const std::size_t host = address.find("://");
  if (host == std::string::npos) return {};
  return address.substr(0, address.find_first_of("/?#", host + 3));
}

std::string field(const std::vector<std::pair<std::string, std::string>>& form, const std::string& name) {
  for (const auto& [known, value] : form) {
    if (known == name) return value;
  }
  return {};
}

}  // namespace

void ConsentPage::addTo(Router& router) {
  router.add({Route::consentPage, "GET", consentPath, [this](Call& call) { return show(call); },
              Endpoint::Body::whole, Endpoint::Path::withRest});
  router.add({Route::consentPage, "POST", consentPath, [this](Call& call) { return decide(call); },
              Endpoint::Body::whole, Endpoint::Path::withRest});
  router.add({Route::callbackPage, "GET", callbackPath, [](Call&) { return outcome(Decision::allowed); }});
}

Reply ConsentPage::show(const Call& call) const {
  const std::optional<LoginSession> session = context_.accounts.session(call.rest);
  if (!session) return unknownLogin();
  if (session->decision != Decision::pending) return closing(*session);
  if (context_.accounts.consent() == Consent::never) return nobodyAnswers();
  return htmlPage(
      200, "Allow access to " + platformName(session->platform) + "?",
      "<p>An application wants to use an account of this sandbox. No real account takes part.</p>\n" +
          scopeList(session->scopes) + "<form method=\"post\">\n" +
          userChoice(context_.accounts.users(), context_.accounts.chosenUser().openId) +
          "<p><button class=\"allow\" type=\"submit\" name=\"decision\" value=\"allow\">Allow</button>"
          "<button type=\"submit\" name=\"decision\" value=\"deny\">Deny</button></p>\n</form>\n",
      session->byRedirect ? originOf(session->url) : std::string());
}

Reply ConsentPage::decide(const Call& call) {
  const auto form = parseForm(call.body);
  const std::string decision = field(form, "decision");
  if (!context_.accounts.session(call.rest)) return unknownLogin();
  if (decision != "allow" && decision != "deny") {
    return htmlPage(400, "Nothing was decided", "<p>Choose Allow or Deny.</p>\n");
  }
  // A login that is decided stays as it is: a second click shows what holds.
  const bool allowed = decision == "allow";
  const bool decided = context_.accounts.decide(call.rest, allowed, field(form, "user"));
  const LoginSession session = context_.accounts.session(call.rest).value_or(LoginSession());
  if (!decided && session.decision == Decision::pending) {
    return htmlPage(400, "Unknown user", "<p>The sandbox has no such user.</p>\n");
  }
  return closing(session);
}

/// Back to the application, or a page that says how the login ended.
Reply ConsentPage::closing(const LoginSession& session) const {
  const std::optional<std::string> address = context_.grants.address(session);
  return address ? redirectTo(*address) : outcome(session.decision);
}

}  // namespace sandbox
