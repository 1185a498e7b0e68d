#include "sandbox/OauthSteps.h"
#include "sandbox/Sandbox.h"
#include "sandbox/TestClient.h"

#include <gmock/gmock.h>

namespace {

using testing::HasSubstr;

struct Login {
  const char* name;
  const char* path;
  bool needsChallenge;
  bool needsScope;
};

void PrintTo(const Login& login, std::ostream* stream) {
  *stream << login.name;
}

class OauthLogin : public testing::TestWithParam<Login> {
 protected:
  std::string addressFor(const Fields& fields) {
    return client.get(targetWith(GetParam().path, fields)).header("Location");
  }

  sandbox::Sandbox server;
  TestClient client{server};
};

INSTANTIATE_TEST_SUITE_P(Services, OauthLogin,
                         testing::Values(Login{"facebook", "/facebook/v24.0/dialog/oauth", false, false},
                                         Login{"vimeo", "/vimeo/oauth/authorize", false, false},
                                         Login{"google", "/google/o/oauth2/v2/auth", true, true},
                                         Login{"instagram", "/instagram-login/v24.0/dialog/oauth", false,
                                               true},
                                         Login{"twitch", "/twitch/oauth2/authorize", false, true}),
                         [](const auto& tested) { return std::string(tested.param.name); });

TEST_P(OauthLogin, AutomaticConsentLeadsBackAtOnceWithCodeAndState) {
  const Answer answer = client.get(targetWith(GetParam().path, loginFields()));

  EXPECT_EQ(answer.status, 302);
  const std::string address = answer.header("Location");
  EXPECT_TRUE(address.starts_with(std::string(appRedirect) + "?code=")) << address;
  EXPECT_EQ(parameterOf(address, "state"), "state 1");
  EXPECT_GE(parameterOf(address, "code").size(), 20U);
}

TEST_P(OauthLogin, AskedConsentShowsThePageAndItsAnswerLeadsBack) {
  server.setConsent(sandbox::Consent::ask);
  const std::string page = targetOf(addressFor(loginFields()));

  EXPECT_TRUE(page.starts_with("/consent/"));
  EXPECT_THAT(client.get(page).body, HasSubstr("<li>video</li>"));
  const Answer answer = client.post(page, "decision=allow&user=" + server.users()[1].openId);
  EXPECT_EQ(answer.status, 302);
  EXPECT_FALSE(parameterOf(answer.header("Location"), "code").empty());
  EXPECT_EQ(client.get(page).header("Location"), answer.header("Location")) << "a page that is loaded again";
}

TEST_P(OauthLogin, RefusedConsentLeadsBackWithTheRefusalAndState) {
  server.setConsent(sandbox::Consent::ask);
  const std::string page = targetOf(addressFor(loginFields()));

  const std::string address = client.post(page, "decision=deny").header("Location");

  EXPECT_EQ(parameterOf(address, "error"), "access_denied");
  EXPECT_EQ(parameterOf(address, "state"), "state 1");
  EXPECT_EQ(parameterOf(address, "code"), "");
}

TEST_P(OauthLogin, ConsentPageMayLeadToTheApplicationOnly) {
  server.setConsent(sandbox::Consent::ask);
  const std::string page = targetOf(addressFor(loginFields()));

  EXPECT_THAT(client.get(page).header("Content-Security-Policy"),
              HasSubstr("form-action 'self' http://localhost"));
}

TEST_P(OauthLogin, UnknownApplicationOrAddressIsNeverRedirectedTo) {
  for (const Fields& fields : {with(loginFields(), "client_id", "other"), without(loginFields(), "client_id"),
                               with(loginFields(), "redirect_uri", "http://localhost/elsewhere"),
                               with(loginFields(), "redirect_uri", std::string(appRedirect) + "#x"),
                               without(loginFields(), "redirect_uri")}) {
    const Answer answer = client.get(targetWith(GetParam().path, fields));
    EXPECT_EQ(answer.status, 400);
    EXPECT_EQ(answer.header("Location"), "");
    EXPECT_THAT(answer.body, HasSubstr("role=\"alert\""));
  }
}

TEST_P(OauthLogin, RequestThatIsNoCodeFlowWithStateIsRefused) {
  EXPECT_EQ(parameterOf(addressFor(with(loginFields(), "response_type", "token")), "error"),
            "unsupported_response_type");
  EXPECT_EQ(parameterOf(addressFor(without(loginFields(), "state")), "error"), "invalid_request");
}

TEST_P(OauthLogin, ScopeIsNeededWhereTheServiceNeedsOne) {
  EXPECT_EQ(parameterOf(addressFor(without(loginFields(), "scope")), "error"),
            GetParam().needsScope ? "invalid_scope" : "");
}

TEST_P(OauthLogin, ChallengeMustBeASha256) {
  EXPECT_EQ(parameterOf(addressFor(with(loginFields(), "code_challenge_method", "plain")), "error"),
            "invalid_request");
  EXPECT_EQ(parameterOf(addressFor(with(loginFields(), "code_challenge", "short")), "error"),
            "invalid_request");
  const std::string bare = addressFor(without(loginFields(), "code_challenge"));
  EXPECT_EQ(parameterOf(bare, "error"), GetParam().needsChallenge ? "invalid_request" : "");
}

TEST_P(OauthLogin, AnyApplicationIsTakenWhereNoneIsNamed) {
  sandbox::SandboxOptions options;
  options.appId.clear();
  options.appRedirect.clear();
  const sandbox::Sandbox open(options);
  TestClient other(open);
  const Fields fields =
      with(with(loginFields(), "client_id", "mine"), "redirect_uri", "https://app.example.com/back?x=1");

  const std::string address = other.get(targetWith(GetParam().path, fields)).header("Location");

  EXPECT_TRUE(address.starts_with("https://app.example.com/back?x=1&code=")) << address;
}

TEST(OauthLogins, ServicesStandInOneTable) {
  const sandbox::Sandbox server;
  const auto table = server.scriptServices();
  const std::vector<std::string> keys{
      "facebookLogin",  "facebookGraph",   "facebookGraphVideo", "flickrOauth", "flickrRest",
      "flickrUpload",   "googleLogin",     "googleRevoke",       "googleToken", "instagramGraph",
      "instagramLogin", "instagramUpload", "twitchApi",          "twitchHelix", "twitchLogin",
      "twitchRevoke",   "twitchToken",     "vimeoApi",           "vimeoLogin",  "vimeoToken",
      "youtubeApi",     "youtubeUpload"};
  EXPECT_EQ(table.size(), keys.size());
  for (const std::string& key : keys) {
    ASSERT_TRUE(table.contains(key)) << key;
    EXPECT_TRUE(table.at(key).starts_with(server.baseUrl() + "/")) << key;
    EXPECT_FALSE(table.at(key).ends_with("/")) << key;
  }
}

}  // namespace
