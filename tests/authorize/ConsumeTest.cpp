// The usage-entitlement query at the host's wish.

#include "authorize/ManagerFixture.h"
#include "boundary/records/Records.h"
#include <ExternlMediaTransfer/ExternlMediaKeys.h>

using namespace KBL;

namespace {
class Consume : public ManagerFixture {
 protected:
  void SetUp() override { makeManager(); }

  /// Runs a query to its end; the host's answers.
  [[nodiscard]] std::vector<HostEvent> ask(KeyValues values = {}) {
    EXPECT_EQ(manager->toConsume(makeInfo(infoTypeConsume, values).get()), resultOk);
    EXPECT_TRUE(host.waitFor(HostEvent::response, 1));
    EXPECT_TRUE(runUntil([&] { return requestsAlive() == 0; }));
    return host.events();
  }
};
}  // namespace

TEST_F(Consume, WithoutARecordIsRefused) {
  EXPECT_EQ(manager->toConsume(nullptr), resultFailed);
  EXPECT_TRUE(network.exchanges("/").empty());
}

TEST_F(Consume, FetchesTheAccountTokenFirstAndAnswersOnce) {
  signIn("u");
  const auto events = ask({{ExternlUserConsumeCharKey::use_client, "3"}});
  ASSERT_EQ(events.size(), 1U);
  EXPECT_EQ(events[0].infoType, infoTypeConsume);
  EXPECT_EQ(events[0].code, 0);
  EXPECT_EQ(events[0].requestName, "ExternlMediaAuthUserSupportQueryConsume");
  EXPECT_EQ(network.exchanges("/credentials").size(), 1U);
  ASSERT_EQ(network.exchanges("/consume").size(), 1U);
  EXPECT_EQ(network.exchanges("/consume")[0].bearer, "account-token");
  EXPECT_NE(network.exchanges("/consume")[0].body.find("\"use_client\":3"), std::string::npos);
}

TEST_F(Consume, AFailedQueryAnswersOnce) {
  network.answer("/consume", R"({"code":7,"msg":"used up"})");
  const auto events = ask();
  ASSERT_EQ(events.size(), 1U);
  EXPECT_EQ(events[0].code, 7);
  EXPECT_EQ(events[0].text, "used up");
  EXPECT_EQ(events[0].infoType, infoTypeConsume);
}

TEST_F(Consume, AFailedFirstStepAnswersOnce) {
  network.answer("/credentials", R"({"code":9,"msg":"no account"})");
  const auto events = ask();
  ASSERT_EQ(events.size(), 1U);
  EXPECT_EQ(events[0].code, 9);
  EXPECT_EQ(events[0].infoType, infoTypeConsume);
  EXPECT_TRUE(network.exchanges("/consume").empty());
}

TEST_F(Consume, AnswersAsConsumeQueryWhateverTypeItWasGiven) {
  EXPECT_EQ(manager->toConsume(makeInfo(infoTypeUser).get()), resultOk);
  ASSERT_TRUE(host.waitFor(HostEvent::response, 1));
  EXPECT_EQ(host.events()[0].infoType, infoTypeConsume);
}

TEST_F(Consume, BeforeAnyLoginMakesNoUser) {
  EXPECT_EQ(ask().size(), 1U);
  EXPECT_TRUE(context().cacheEntries.empty());
}

TEST_F(Consume, StoresTheAccountTokenOfTheLastUser) {
  signIn("a");
  signIn("b");
  EXPECT_EQ(ask().size(), 1U);
  EXPECT_EQ(user("a").accessToken, "account-a");
  EXPECT_EQ(user("b").accessToken, "account-token");
  EXPECT_EQ(user("b").expiresIn, 3600);
}
