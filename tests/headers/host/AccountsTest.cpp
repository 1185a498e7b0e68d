// Typed logins over the exports of the shared library, against the sandbox.
#include "sandbox/Sandbox.h"
#include "support/Flag.h"
#include "support/TemporaryDirectory.h"
#include "support/WaitUntil.h"
#include <BsCloudConfig/BsCloudConfig.h>
#include <BsNet/cipher.h>
#include <ExternlMediaTransfer/host/Accounts.h>

#include <gmock/gmock.h>

#include <thread>

using namespace std::chrono_literals;
using KBL::host::Accounts;
using KBL::host::EventQueue;
using KBL::host::Failure;
using KBL::host::SignInEnd;
using sandbox::Fault;
using sandbox::Route;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

namespace {

class TypedAccounts : public testing::Test {
 protected:
  TypedAccounts() {
    KBL::setKeyStore(KBL::makeFileKeyStore(files_.file("keys")));
    KBL::setCloudConfig(server_.cloudConfig());
  }
  ~TypedAccounts() override {
    KBL::clearCloudConfig();
    KBL::setKeyStore(nullptr);
  }

  KBL::host::AccountSettings settings(const std::string& secret = "sandbox-app-secret") {
    return {files_.file("cache"), secret};
  }
  static SignInEnd endOf(const KBL::host::Eventual<SignInEnd>& eventual) {
    return eventual.waitFor(generousLimit).value_or(SignInEnd{{1, "nothing came"}, {}, {}});
  }

  TemporaryDirectory files_;
  sandbox::Sandbox server_;
};

TEST_F(TypedAccounts, SignInVerifyAndSignOut) {
  std::mutex mutex;
  std::vector<std::string> changed;
  Accounts accounts(KBL::ema_youtube, settings(), {[&](const std::string& user) {
                      const std::lock_guard lock(mutex);
                      changed.push_back(user);
                    }});
  EXPECT_FALSE(accounts.user());
  EXPECT_FALSE(accounts.accessToken());
  std::string address;
  const SignInEnd end = endOf(accounts.signIn({"0"}, [&](const std::string& url) { address = url; }));
  ASSERT_TRUE(end.isGood()) << end.failure.message;
  EXPECT_THAT(address, StartsWith("http://127.0.0.1:"));
  EXPECT_THAT(end.closingUrl, StartsWith("http"));
  const auto user = accounts.user(end.user);
  ASSERT_TRUE(user);
  EXPECT_EQ(user->id, end.user);
  EXPECT_EQ(user->nickName + user->firstName, accounts.user()->nickName + accounts.user()->firstName);
  EXPECT_THAT(user->categories, Not(IsEmpty()));
  EXPECT_THAT(user->categories, testing::Each(Not(testing::HasSubstr("|"))));
  const auto token = accounts.accessToken();
  ASSERT_TRUE(token);
  EXPECT_TRUE(server_.token(*token));
  {
    const std::lock_guard lock(mutex);
    EXPECT_THAT(changed, testing::Contains(end.user));
  }
  const auto verified = accounts.verify(end.user).waitFor(generousLimit);
  ASSERT_TRUE(verified);
  EXPECT_FALSE(static_cast<bool>(*verified)) << verified->message;
  EXPECT_TRUE(accounts.signOut());
  EXPECT_FALSE(accounts.user());
  EXPECT_FALSE(accounts.signOut());
  const auto nobody = accounts.verify().waitFor(generousLimit);
  ASSERT_TRUE(nobody);
  EXPECT_EQ(nobody->code, KBL::ErrorCode::noUsableData);
}

TEST_F(TypedAccounts, HearOfAWrongSecretAtOnce) {
  Accounts accounts(KBL::ema_youtube, settings("wrong"));
  const SignInEnd end = endOf(accounts.signIn({"0"}, {}));
  EXPECT_FALSE(end.isGood());
  EXPECT_EQ(end.failure.message, "invalid app_secret");
  EXPECT_EQ(end.how, SignInEnd::How::failed);
}

TEST_F(TypedAccounts, CancelALogin) {
  server_.setConsent(sandbox::Consent::ask);
  Accounts accounts(KBL::ema_youtube, settings());
  Flag opened;
  const auto first = accounts.signIn({"0"}, [&](const std::string&) { opened.raise(); });
  ASSERT_TRUE(opened.wait());
  EXPECT_FALSE(first.get());
  const auto second = accounts.signIn({"0"}, {});
  EXPECT_EQ(endOf(first).failure.code, KBL::ErrorCode::userCancelled) << "one at a time";
  EXPECT_EQ(endOf(first).how, SignInEnd::How::cancelled);
  accounts.cancelSignIn();
  EXPECT_EQ(endOf(second).failure.code, KBL::ErrorCode::userCancelled);
  EXPECT_EQ(endOf(second).how, SignInEnd::How::cancelled);
}

TEST_F(TypedAccounts, EndALoginThatBeganWhileAnotherOneDid) {
  server_.setConsent(sandbox::Consent::ask);
  Accounts accounts(KBL::ema_youtube, settings());
  std::optional<KBL::host::Eventual<SignInEnd>> between;
  accounts.signIn({"0"}, {}).then([&](const SignInEnd&) {
    if (!between) between = accounts.signIn({"0"}, {});
  });
  const auto last = accounts.signIn({"0"}, {});
  ASSERT_TRUE(between);
  EXPECT_EQ(endOf(*between).failure.code, KBL::ErrorCode::userCancelled);
  EXPECT_EQ(endOf(*between).how, SignInEnd::How::cancelled);
  EXPECT_FALSE(last.get());
}

TEST_F(TypedAccounts, EndTheLoginThatRunsWhenSomebodySignsOut) {
  Accounts accounts(KBL::ema_youtube, settings());
  const SignInEnd first = endOf(accounts.signIn({"0"}, {}));
  ASSERT_TRUE(first.isGood()) << first.failure.message;
  EXPECT_EQ(first.how, SignInEnd::How::signedIn);
  server_.setConsent(sandbox::Consent::ask);
  Flag opened;
  const auto second = accounts.signIn({"0"}, [&](const std::string&) { opened.raise(); });
  ASSERT_TRUE(opened.wait());
  EXPECT_TRUE(accounts.signOut(first.user));
  EXPECT_EQ(endOf(second).failure.code, KBL::ErrorCode::userCancelled);
}

TEST_F(TypedAccounts, TellTheEndOfALoginWithinTheCallThatEndsIt) {
  server_.setConsent(sandbox::Consent::ask);
  Accounts accounts(KBL::ema_youtube, settings());
  std::mutex mutex;
  std::vector<std::thread::id> threads;
  const auto begin = [&] {
    accounts.signIn({"0"}, {}).then([&](const SignInEnd&) {
      const std::lock_guard lock(mutex);
      threads.push_back(std::this_thread::get_id());
    });
  };
  const auto ended = [&] {
    const std::lock_guard lock(mutex);
    return threads.size();
  };
  begin();
  EXPECT_EQ(ended(), 0U);
  begin();
  EXPECT_EQ(ended(), 1U);
  accounts.cancelSignIn();
  EXPECT_EQ(ended(), 2U);
  begin();
  (void)accounts.signOut();
  EXPECT_EQ(ended(), 3U);
  const std::lock_guard lock(mutex);
  EXPECT_THAT(threads, testing::Each(std::this_thread::get_id()));
}

TEST_F(TypedAccounts, EndALoginThatNobodyAnswersInTime) {
  server_.setConsent(sandbox::Consent::ask);
  Accounts accounts(KBL::ema_youtube, settings());
  KBL::host::SignInRequest request{"0"};
  request.timeoutSeconds = 1;
  const SignInEnd end = endOf(accounts.signIn(request, {}));
  EXPECT_FALSE(end.isGood());
  EXPECT_NE(end.failure.message, "nothing came");
}

TEST_F(TypedAccounts, AnswerTheVerificationOfAStranger) {
  Accounts accounts(KBL::ema_youtube, settings());
  ASSERT_TRUE(endOf(accounts.signIn({"0"}, {})).isGood());
  const auto stall = server_.orderFault(Route::token, Fault::stall());
  const auto running = accounts.verify();
  ASSERT_TRUE(server_.waitForFaults(stall, 1, generousLimit));
  const auto answer = accounts.verify("nobody").get();
  ASSERT_TRUE(answer);
  EXPECT_EQ(answer->code, KBL::ErrorCode::noUsableData);
  EXPECT_FALSE(running.get()) << "a refusal is of the call that it comes in";
  server_.releaseStalls();
  const auto verified = running.waitFor(generousLimit);
  ASSERT_TRUE(verified);
  EXPECT_FALSE(static_cast<bool>(*verified)) << verified->message;
}

TEST_F(TypedAccounts, AnswerAVerificationWhoseUserSignsOut) {
  Accounts accounts(KBL::ema_youtube, settings());
  const SignInEnd end = endOf(accounts.signIn({"0"}, {}));
  ASSERT_TRUE(end.isGood()) << end.failure.message;
  const auto stall = server_.orderFault(Route::token, Fault::stall());
  const auto named = accounts.verify(end.user);
  const auto last = accounts.verify();
  ASSERT_TRUE(server_.waitForFaults(stall, 1, generousLimit));
  EXPECT_TRUE(accounts.signOut());
  server_.releaseStalls();
  EXPECT_TRUE(named.waitFor(generousLimit));
  EXPECT_TRUE(last.waitFor(generousLimit));
}

TEST_F(TypedAccounts, TellEverythingOnTheThreadOfTheQueue) {
  EventQueue queue;
  Accounts accounts(KBL::ema_youtube, settings(), {}, queue.executor());
  std::vector<std::thread::id> threads;
  std::optional<SignInEnd> end;
  accounts.signIn({"0"}, [&](const std::string&) { threads.push_back(std::this_thread::get_id()); })
      .then([&](const SignInEnd& how) {
        threads.push_back(std::this_thread::get_id());
        end = how;
      });
  ASSERT_TRUE(waitUntil([&] {
    queue.runFor(10ms);
    return end.has_value();
  }));
  EXPECT_TRUE(end->isGood());
  EXPECT_THAT(threads, testing::ElementsAre(std::this_thread::get_id(), std::this_thread::get_id()));
}

TEST_F(TypedAccounts, AnswerWhatWaitsWhenTheyGo) {
  server_.setConsent(sandbox::Consent::ask);
  std::optional<KBL::host::Eventual<SignInEnd>> login;
  {
    Accounts accounts(KBL::ema_youtube, settings());
    Flag opened;
    login = accounts.signIn({"0"}, [&](const std::string&) { opened.raise(); });
    ASSERT_TRUE(opened.wait());
  }
  ASSERT_TRUE(login->get());
  EXPECT_FALSE(login->get()->isGood());
  EXPECT_EQ(login->get()->how, SignInEnd::How::dropped);
}

TEST_F(TypedAccounts, AnswerAVerificationThatRunsWhenTheyGo) {
  std::optional<KBL::host::Eventual<Failure>> verified;
  {
    Accounts accounts(KBL::ema_youtube, settings());
    ASSERT_TRUE(endOf(accounts.signIn({"0"}, {})).isGood());
    const auto stall = server_.orderFault(Route::token, Fault::stall());
    verified = accounts.verify();
    ASSERT_TRUE(server_.waitForFaults(stall, 1, generousLimit));
    EXPECT_FALSE(verified->get());
  }
  ASSERT_TRUE(verified->get());
  EXPECT_EQ(verified->get()->code, KBL::ErrorCode::userCancelled);
}

TEST_F(TypedAccounts, ALoginWithoutItsCategoriesIsGood) {
  const auto fault = server_.orderFault(Route::youtubeCategories, Fault::status(500));
  Accounts accounts(KBL::ema_youtube, settings());
  EXPECT_TRUE(endOf(accounts.signIn({"0"}, {})).isGood());
  EXPECT_EQ(server_.faultsDelivered(fault), 1U);
}

TEST_F(TypedAccounts, ShareAManagerThatIsThere) {
  const auto manager = KBL::adoptRef(getOrCreateExternlMediaAuthorize(KBL::ema_tiktok));
  {
    Accounts accounts(KBL::ema_tiktok, settings());
    EXPECT_EQ(&accounts.manager(), manager.get());
  }
  EXPECT_EQ(getExternlMediaAuthorize(KBL::ema_tiktok), manager.get());
}

}  // namespace
