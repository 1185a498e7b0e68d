#include "sandbox/OauthSteps.h"
#include "sandbox/Sandbox.h"
#include "sandbox/TestClient.h"

#include <gmock/gmock.h>

namespace {

using testing::HasSubstr;
using testing::Not;

class ConsentPage : public testing::Test {
 protected:
  ConsentPage() { server.setConsent(sandbox::Consent::ask); }

  std::string openSession(const std::string& members = "") {
    const std::string body = R"({"platform":0,"use_client":1,"is_callback_token":1)" + members + "}";
    client.post("/account/session", body, {bearer(server.issueAccountToken())});
    return server.loginSessions().back().id;
  }
  Answer click(const std::string& id, const std::string& form) {
    return client.post("/consent/" + id, form, {{"Content-Type", "application/x-www-form-urlencoded"}});
  }

  sandbox::Sandbox server;
  TestClient client{server};
};

TEST_F(ConsentPage, AsksWithPlatformScopesUsersAndTwoButtons) {
  const Answer page = client.get("/consent/" + openSession(R"(,"scope":["user.info.basic"])"));

  EXPECT_EQ(page.status, 200);
  EXPECT_EQ(page.header("Content-Type"), "text/html; charset=utf-8");
  EXPECT_THAT(page.body, HasSubstr("<html lang=\"en\">"));
  EXPECT_THAT(page.body, HasSubstr("YouTube"));
  EXPECT_THAT(page.body, HasSubstr("<li>see your name and picture <small>(user.info.basic)</small></li>"));
  EXPECT_THAT(page.body, HasSubstr(server.users()[1].email));
  EXPECT_THAT(page.body, HasSubstr(">Allow</button>"));
  EXPECT_THAT(page.body, HasSubstr(">Deny</button>"));
}

TEST_F(ConsentPage, NamesUnknownPermissionsAsTheyCame) {
  EXPECT_THAT(client.get("/consent/" + openSession(R"(,"scope":["one.scope"])")).body,
              HasSubstr("<li>one.scope</li>"));
}

TEST_F(ConsentPage, SaysWhatHappensNext) {
  EXPECT_THAT(client.get("/consent/" + openSession()).body, HasSubstr("the application goes on by itself"));

  const Answer login = client.get(targetWith("/vimeo/oauth/authorize", loginFields()));
  const Answer page = client.get(targetOf(login.header("Location")));
  EXPECT_THAT(page.body,
              HasSubstr("Your browser then goes to <code>" + std::string(appRedirect) + "</code>"));
  EXPECT_THAT(page.body, HasSubstr("your Vimeo account"));
}

TEST_F(ConsentPage, AllowSignsInTheUserWhoWasPicked) {
  const std::string id = openSession();

  const Answer page = click(id, "user=" + server.users()[1].openId + "&decision=allow");

  EXPECT_EQ(page.status, 200);
  EXPECT_THAT(page.body, HasSubstr("Access allowed"));
  EXPECT_EQ(server.loginSessions()[0].decision, sandbox::Decision::allowed);
  EXPECT_EQ(server.loginSessions()[0].openId, server.users()[1].openId);
}

TEST_F(ConsentPage, DenyDenies) {
  const std::string id = openSession();

  const Answer page = click(id, "user=" + server.users()[0].openId + "&decision=deny");

  EXPECT_THAT(page.body, HasSubstr("Access denied"));
  EXPECT_EQ(server.loginSessions()[0].decision, sandbox::Decision::denied);
}

TEST_F(ConsentPage, SecondClickShowsWhatHolds) {
  const std::string id = openSession();
  click(id, "decision=deny");

  const Answer page = click(id, "decision=allow");

  EXPECT_THAT(page.body, HasSubstr("Access denied"));
  EXPECT_THAT(client.get("/consent/" + id).body, HasSubstr("Access denied"));
}

TEST_F(ConsentPage, NonsenseDecidesNothing) {
  const std::string id = openSession();

  EXPECT_EQ(click(id, "").status, 400);
  EXPECT_EQ(click(id, "decision=maybe").status, 400);
  EXPECT_EQ(click(id, "decision=allow&user=nobody").status, 400);
  EXPECT_EQ(server.loginSessions()[0].decision, sandbox::Decision::pending);
}

TEST_F(ConsentPage, DenyingByItselfEndsLoginsOfBothKinds) {
  server.setConsent(sandbox::Consent::deny);
  const std::string id = openSession();
  const std::string token = server.issueAccountToken();

  const Answer poll = client.get("/account/code/" + id, {bearer(token)});

  EXPECT_EQ(poll.json()["data"]["status"], 2);
  EXPECT_THAT(client.get("/consent/" + id).body, HasSubstr("Access denied"));
  const Answer login = client.get(targetWith("/vimeo/oauth/authorize", loginFields()));
  EXPECT_EQ(login.status, 302);
  EXPECT_THAT(login.header("Location"), HasSubstr("error=access_denied"));
}

TEST_F(ConsentPage, NeverAnsweringShowsNoButtons) {
  server.setConsent(sandbox::Consent::never);
  const std::string id = openSession();

  const Answer page = client.get("/consent/" + id);

  EXPECT_EQ(page.status, 200);
  EXPECT_THAT(page.body, HasSubstr("Nobody answers"));
  EXPECT_THAT(page.body, Not(HasSubstr("<button")));
  EXPECT_EQ(client.get("/account/code/" + id, {bearer(server.issueAccountToken())}).json()["data"]["status"],
            0);
}

TEST_F(ConsentPage, UnknownLoginIsNotFound) {
  EXPECT_EQ(client.get("/consent/nothing").status, 404);
  EXPECT_EQ(click("nothing", "decision=allow").status, 404);
}

TEST_F(ConsentPage, TextsFromOutsideAreEscaped) {
  const Answer page = client.get("/consent/" + openSession(R"(,"scope":["<script>alert(1)</script>\"&"])"));

  EXPECT_THAT(page.body, Not(HasSubstr("<script>")));
  EXPECT_THAT(page.body, HasSubstr("&lt;script&gt;alert(1)&lt;/script&gt;&quot;&amp;"));
}

}  // namespace
