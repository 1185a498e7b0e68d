#include "sandbox/services/account/ConsentPage.h"

#include "sandbox/base/Text.h"
#include "sandbox/services/HtmlPage.h"

#include <algorithm>
#include <array>
#include <string>
#include <string_view>

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

/// What a permission means to a person, by a part of its name; the first row that fits.
struct ScopeRow {
  std::string_view part;
  std::string_view words;
};

constexpr std::array<ScopeRow, 23> scopeRows{{
    {"youtube.upload", "upload videos to your channel"},
    {"youtube.readonly", "see your channel and its videos"},
    {"youtube", "manage your channel and its videos"},
    {"userinfo.email", "see your e-mail address"},
    {"userinfo.profile", "see your name and picture"},
    {"renew_refresh_token", "stay signed in for longer"},
    {"video.upload", "upload videos"},
    {"video.create", "upload and publish videos"},
    {"user.info", "see your name and picture"},
    {"user_info", "see your name and picture"},
    {"content_publish", "publish pictures and videos"},
    {"instagram_business_basic", "see your name and what you published"},
    {"publish", "publish in your name"},
    {"user_photos", "see your pictures"},
    {"user_videos", "see your videos"},
    {"user_posts", "see your posts"},
    {"public_profile", "see your name and picture"},
    {"channel_editor", "manage your channel and its videos"},
    {"channel_read", "see your channel"},
    {"user_read", "see your name and e-mail address"},
    {"write", "upload pictures and videos and change them"},
    {"upload", "upload videos"},
    {"email", "see your e-mail address"},
}};

std::string_view wordsOf(const std::string& scope) {
  const auto row = std::find_if(scopeRows.begin(), scopeRows.end(), [&](const ScopeRow& known) {
    return scope.find(known.part) != std::string::npos;
  });
  return row == scopeRows.end() ? std::string_view() : row->words;
}

std::string scopeList(const std::vector<std::string>& scopes) {
  if (scopes.empty()) return "<p>It asks for no particular permission.</p>\n";
  std::string list = "<p>It asks for permission to:</p>\n<ul>\n";
  for (const std::string& scope : scopes) {
    const std::string words(wordsOf(scope));
    const std::string name = htmlEscaped(scope);
    list +=
        words.empty() ? "<li>" + name + "</li>\n" : "<li>" + words + " <small>(" + name + ")</small></li>\n";
  }
  return list + "</ul>\n";
}

/// Where the browser goes behind the buttons, since an address of one's own machine looks like a mistake to
/// many.
std::string whatHappensNext(const LoginSession& session) {
  const std::string platform = platformName(session.platform);
  const std::string end = session.byRedirect
                              ? "Your browser then goes to <code>" + htmlEscaped(session.url) +
                                    "</code>, where the application waits for the answer."
                              : "This page then says so, and the application goes on by itself.";
  return "<h2>What happens next</h2>\n<p><strong>Allow</strong> gives the application tokens for the "
         "made-up " +
         platform + " account that you pick; it can use them until they end or somebody ends them. " +
         "<strong>Deny</strong> gives it nothing and tells it so. " + end + "</p>\n";
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
      "<p>An application wants to use your " + platformName(session->platform) +
          " account in this sandbox. It plays the service: no real account takes part.</p>\n" +
          scopeList(session->scopes) + "<form method=\"post\">\n" +
          userChoice(context_.accounts.users(), context_.accounts.chosenUser().openId) +
          "<p><button class=\"allow\" type=\"submit\" name=\"decision\" value=\"allow\">Allow</button>"
          "<button type=\"submit\" name=\"decision\" value=\"deny\">Deny</button></p>\n</form>\n" +
          whatHappensNext(*session),
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
