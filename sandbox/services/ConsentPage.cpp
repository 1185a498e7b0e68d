#include "sandbox/services/ConsentPage.h"

#include "sandbox/Text.h"

#include <string>

namespace sandbox {

namespace {

constexpr const char* kConsentPath = "/consent/";
constexpr const char* kCallbackPath = "/account/callback";

std::string platformName(Platform platform) {
  switch (platform) {
    case Platform::youtube:
      return "YouTube";
    case Platform::vimeo:
      return "Vimeo";
    case Platform::tiktok:
      return "TikTok";
    case Platform::douyin:
      return "Douyin";
  }
  return {};
}

Reply page(int status, const std::string& title, const std::string& content) {
  Reply reply;
  reply.status = status;
  reply.contentType = "text/html; charset=utf-8";
  reply.headers = {
      {"Cache-Control", "no-store"},
      {"Content-Security-Policy", "default-src 'none'; style-src 'unsafe-inline'; form-action 'self'"}};
  reply.body = R"(<!doctype html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta name="viewport" content="width=device-width, initial-scale=1">
<title>)" + htmlEscaped(title) +
               R"(</title>
<style>
body { font: 1.1rem/1.5 system-ui, sans-serif; max-width: 34rem; margin: 3rem auto; padding: 0 1rem; color: #1b1b1b;
       background: #fff; }
fieldset { border: 1px solid #666; border-radius: .4rem; margin: 1rem 0; padding: .5rem 1rem; }
label { display: block; padding: .3rem 0; }
button { font: inherit; padding: .6rem 1.6rem; margin-right: .8rem; border: 2px solid #0b57d0; border-radius: .4rem;
         background: #fff; color: #0b57d0; cursor: pointer; }
button.allow { background: #0b57d0; color: #fff; }
:focus-visible { outline: 3px solid #b3261e; outline-offset: 2px; }
</style>
</head>
<body>
<main>
<h1>)" + htmlEscaped(title) +
               "</h1>\n" + content + "</main>\n</body>\n</html>\n";
  return reply;
}

Reply unknownLogin() {
  return page(404, "Unknown sign-in",
              "<p>This sign-in does not exist, or the sandbox was started anew.</p>\n");
}

Reply outcome(Decision decision) {
  if (decision == Decision::allowed) {
    return page(200, "Access allowed",
                "<p role=\"status\">You can close this page and return to the application.</p>\n");
  }
  return page(200, "Access denied", "<p role=\"status\">Nothing was shared. You can close this page.</p>\n");
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

std::string field(const std::vector<std::pair<std::string, std::string>>& form, const std::string& name) {
  for (const auto& [known, value] : form) {
    if (known == name) return value;
  }
  return {};
}

}  // namespace

void ConsentPage::addTo(Router& router) {
  router.add({Route::consentPage, "GET", kConsentPath, [this](Call& call) { return show(call); },
              Endpoint::Body::whole, Endpoint::Path::withRest});
  router.add({Route::consentPage, "POST", kConsentPath, [this](Call& call) { return decide(call); },
              Endpoint::Body::whole, Endpoint::Path::withRest});
  router.add({Route::callbackPage, "GET", kCallbackPath, [](Call&) { return outcome(Decision::allowed); }});
}

Reply ConsentPage::show(const Call& call) const {
  const std::optional<LoginSession> session = context_.accounts.session(call.rest);
  if (!session) return unknownLogin();
  if (session->decision != Decision::pending) return outcome(session->decision);
  return page(
      200, "Allow access to " + platformName(session->platform) + "?",
      "<p>An application wants to use an account of this sandbox. No real account takes part.</p>\n" +
          scopeList(session->scopes) + "<form method=\"post\">\n" +
          userChoice(context_.accounts.users(), context_.accounts.chosenUser().openId) +
          "<p><button class=\"allow\" type=\"submit\" name=\"decision\" value=\"allow\">Allow</button>"
          "<button type=\"submit\" name=\"decision\" value=\"deny\">Deny</button></p>\n</form>\n");
}

Reply ConsentPage::decide(const Call& call) {
  const auto form = parseForm(call.body);
  const std::string decision = field(form, "decision");
  if (!context_.accounts.session(call.rest)) return unknownLogin();
  if (decision != "allow" && decision != "deny") {
    return page(400, "Nothing was decided", "<p>Choose Allow or Deny.</p>\n");
  }
  // A login that is decided stays as it is: a second click shows what holds.
  const bool allowed = decision == "allow";
  const bool decided = context_.accounts.decide(call.rest, allowed, field(form, "user"));
  const LoginSession session = context_.accounts.session(call.rest).value_or(LoginSession());
  if (!decided && session.decision == Decision::pending) {
    return page(400, "Unknown user", "<p>The sandbox has no such user.</p>\n");
  }
  return outcome(session.decision);
}

}  // namespace sandbox
