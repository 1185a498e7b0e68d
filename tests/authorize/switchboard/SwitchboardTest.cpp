#include "authorize/ManagerFixture.h"
#include "authorize/switchboard/ExternlMediaAuthCallbackProxy.h"
#include "requests/BsExternlMediaAuthRequest.h"
#include <BsNet/BsErrorInfo.h>
#include <BsNet/KblBaseRequest.h>
#include <ExternlMediaTransfer/ExternlMediaTransfer.h>

#include <cstdlib>
#include <functional>

using namespace KBL;

namespace {
class Switchboard : public ManagerFixture {
 protected:
  void SetUp() override {
    makeManager();
    request = makeRef<BsExternlMediaAuthRequest>();
    initAuthRequest(context(), "u", *request);
  }
  void TearDown() override {
    request.reset();
    ManagerFixture::TearDown();
  }

  static ExternlMediaAuthCallbackProxy& proxy() { return ExternlMediaAuthCallbackProxy::instance(); }

  /// What every forwarder answers for this tag.
  [[nodiscard]] std::vector<int> allAnswers(const std::string& owner) {
    const auto info = makeInfo(infoTypeLogin);
    const auto error = request->errorInfo();
    char buffer[64] = {};
    return {proxy().cbAsyncRefreshAccessToken(owner, "u"),
            proxy().cbRequestFailed(owner, request.get(), info.get(), error.get()),
            proxy().cbRequestForward(owner, request.get(), info.get(), error.get()),
            proxy().cbQueryThirdLoginURL(owner, "u", "x"),
            proxy().cbQueryThirdLoginCallbackURL(owner, "u", "x"),
            proxy().cbRequestNotify(owner, "u"),
            proxy().setTimedOut(owner, "u", true),
            proxy().isTimedOut(owner, "u"),
            proxy().setFinished(owner, "u", true),
            proxy().isFinished(owner, "u"),
            proxy().isCanceled(owner, "u"),
            proxy().updateInfo(owner, "u", info.get()),
            proxy().getAccessToken(owner, "u", buffer)};
  }

  RefPtr<BsExternlMediaAuthRequest> request;
};
}  // namespace

TEST_F(Switchboard, ForwardersWithAnUnknownTagReturnOneAndCallNothing) {
  EXPECT_EQ(allAnswers("nobody.1"), std::vector<int>(13, 1));
  EXPECT_FALSE(proxy().copyAuthContext("nobody.1").has_value());
  EXPECT_EQ(proxy().accessToken("nobody.1", "u"), "");
  EXPECT_FALSE(proxy().knowsOwner("nobody.1"));
  EXPECT_TRUE(host.events().empty());
}

TEST_F(Switchboard, ForwardersReachTheOperationOfTheirName) {
  signIn("u");
  AuthorizeTestAccess::putSession(*manager, "u", {});
  const auto info = makeInfo(infoTypeLogin);
  const auto error = request->errorInfo();
  EXPECT_EQ(proxy().cbAsyncRefreshAccessToken(tag, "u"), 1);
  EXPECT_TRUE(logger->hasLine(tag + ", uuid: u, AccessTokenProxy not exist"));
  EXPECT_EQ(proxy().cbRequestFailed(tag, request.get(), info.get(), error.get()), 0);
  EXPECT_EQ(proxy().cbRequestForward(tag, request.get(), info.get(), error.get()), 0);
  EXPECT_EQ(host.events(HostEvent::response).size(), 2U);
  EXPECT_EQ(proxy().cbQueryThirdLoginURL(tag, "u", "http://open"), 0);
  EXPECT_EQ(host.events(HostEvent::loginUrl).size(), 1U);
  EXPECT_EQ(proxy().cbQueryThirdLoginCallbackURL(tag, "u", "http://done"), 0);
  EXPECT_EQ(host.events(HostEvent::callbackUrl).size(), 1U);
  EXPECT_EQ(proxy().cbRequestNotify(tag, "u"), 0);
  EXPECT_EQ(host.events(HostEvent::requestFinished).size(), 1U);
  EXPECT_EQ(proxy().isTimedOut(tag, "u"), 0);
  EXPECT_EQ(proxy().setTimedOut(tag, "u", true), 0);
  EXPECT_EQ(proxy().isTimedOut(tag, "u"), 1);
  EXPECT_EQ(proxy().isFinished(tag, "u"), 0);
  EXPECT_EQ(proxy().setFinished(tag, "u", true), 0);
  EXPECT_EQ(proxy().isFinished(tag, "u"), 1);
  EXPECT_EQ(proxy().isCanceled(tag, "u"), 0);
  EXPECT_EQ(proxy().updateInfo(tag, "u", info.get()), 0);
  const auto copied = proxy().copyAuthContext(tag);
  ASSERT_TRUE(copied.has_value());
  EXPECT_EQ(copied->logTag, tag);
  char buffer[64] = {};
  EXPECT_EQ(proxy().getAccessToken(tag, "u", buffer), 0);
  EXPECT_STREQ(buffer, "third-u");
  EXPECT_EQ(proxy().accessToken(tag, "u"), "third-u");
}

namespace {
std::function<void()> behindTheEnd;

// Entered before the switchboard is made, so that it runs behind the switchboard's own end.
[[maybe_unused]] const int entered = std::atexit([] {
  if (behindTheEnd) behindTheEnd();
});
}  // namespace

TEST_F(Switchboard, FindsNobodyWhileTheProcessEnds) {
  signIn("u");
  const auto exit = [&] {
    behindTheEnd = [&] {
      const bool found = proxy().knowsOwner(tag) || proxy().copyAuthContext(tag).has_value() ||
                         !proxy().accessToken(tag, "u").empty();
      std::_Exit(found ? 1 : 0);
    };
    std::exit(2);
  };
  EXPECT_EXIT(exit(), testing::ExitedWithCode(0), "");
}

TEST_F(Switchboard, HandsTheEndOfARequestToItsOwner) {
  const auto info = makeInfo(infoTypeUser);
  const auto error = request->errorInfo();
  EXPECT_EQ(proxy().queryResponse(request.get(), info.get(), error.get()), resultFailed);  // no flow's type
  const auto login = makeInfo(infoTypeLogin);
  EXPECT_EQ(proxy().queryResponse(request.get(), login.get(), error.get()), resultOk);
  EXPECT_TRUE(logger->hasLine(tag + ", name: ExternlMediaAuthRequestNone, infoType: 400"));
}

TEST_F(Switchboard, RefusesRequestsThatHaveNoOwner) {
  const auto info = makeInfo(infoTypeLogin);
  const auto error = makeRef<BsErrorInfo>();
  const auto plain = makeRef<KblBaseRequest>();
  EXPECT_EQ(proxy().queryResponse(plain.get(), info.get(), error.get()), resultFailed);
  EXPECT_EQ(proxy().queryResponse(nullptr, info.get(), error.get()), resultFailed);
}

TEST_F(Switchboard, ForwardersLeaveTheHostsCountAlone) {
  int during = 0;
  host.inside = [&](const HostEvent&) {
    manager->AddRef();
    during = manager->Release();
  };
  proxy().cbRequestNotify(tag, "u");
  EXPECT_EQ(during, 1);
  manager->AddRef();
  EXPECT_EQ(manager->Release(), 1);
}

// Each interface name has one entry, which belongs to the manager made last. This looks like a mistake and is
// required.
TEST_F(Switchboard, TheDeathOfTheManagerMadeLastSilencesTheForwardersOfTheOthers) {
  auto* const last = getOrCreateExternlMediaAuthorize(ema_tiktok);
  EXPECT_EQ(proxy().cbRequestNotify(tag, "u"), 0);
  EXPECT_EQ(last->Release(), 0);
  EXPECT_TRUE(proxy().knowsOwner(tag));
  EXPECT_EQ(allAnswers(tag), std::vector<int>(13, 1));
  EXPECT_FALSE(proxy().copyAuthContext(tag).has_value());
  EXPECT_EQ(proxy().accessToken(tag, "u"), "");
  EXPECT_EQ(host.events().size(), 1U);

  auto* const next = getOrCreateExternlMediaAuthorize(ema_tiktok);
  EXPECT_EQ(proxy().cbRequestNotify(tag, "u"), 0);
  next->Release();
}

TEST_F(Switchboard, TheDeathOfTheManagerMadeLastSilencesAForwarderThatIsOnItsWay) {
  /// Has found its manager when the last one dies.
  class Passing final : public ISwitchboardManager {
   public:
    Passing(BsExternlMediaAuthorize& manager, std::shared_ptr<char>& last) : manager_(manager), last_(last) {}
    std::shared_ptr<ISwitchboardManager> core() override { return {std::shared_ptr<void>(), this}; }
    IBsExternlMediaAuthorize* authorize() override {
      last_.reset();
      return &manager_;
    }
    std::string accessToken(const std::string&) override { return ""; }
    void renewalUnanswered(const std::string&, const std::vector<RefPtr<BsBaseInfoRW>>&) override {}

   private:
    BsExternlMediaAuthorize& manager_;
    std::shared_ptr<char>& last_;
  };
  const auto alive = std::make_shared<char>();
  auto last = std::make_shared<char>();
  Passing passing(*manager, last);
  proxy().registerManager("passing.1", alive, &passing);
  proxy().registerManager("last.1", last, nullptr);

  EXPECT_EQ(proxy().cbRequestNotify("passing.1", "u"), 1);

  EXPECT_EQ(last, nullptr);
  EXPECT_TRUE(host.events().empty());
  proxy().removeManager("passing.1", &passing);
  proxy().removeManager("last.1", nullptr);
}

TEST_F(Switchboard, TheDeathOfAnEarlierManagerLeavesTheLaterOnesTheirForwarders) {
  auto* const last = getOrCreateExternlMediaAuthorize(ema_tiktok);
  AuthContext lastContext;
  dynamic_cast<BsExternlMediaAuthorize*>(last)->copyAuthContext(lastContext);
  releaseManager();
  EXPECT_EQ(proxy().cbRequestNotify(lastContext.logTag, "u"), 0);
  last->Release();
}

TEST_F(Switchboard, ATokenOfAHundredThousandCharactersIsCutForWorkers) {
  auto user = makeUser("u", nowSeconds() + 10);
  user.thirdAccessToken = std::string(100'000, 't');
  AuthorizeTestAccess::setEntries(*manager, {user});
  EXPECT_TRUE(proxy().accessToken(tag, "u") == std::string(8192, 't'));
}
