// asyncUploadMediaFile: whom an upload is for, and the chain of its requests.

#include "authorize/ManagerFixture.h"
#include "boundary/records/Records.h"
#include "support/NoThreads.h"
#include "support/ReferenceCount.h"
#include "support/WaitUntil.h"
#include <ExternlMediaTransfer/ExternlMediaKeys.h>

using namespace KBL;

namespace {
class UploadDispatch : public ManagerFixture {
 protected:
  void SetUp() override {
    makeManager();
    info = makeRef<BsExternlMediaUploadInfo>();
    info->setCharKeyConfig(ExternlMediaUploadCharKey::filePath, directory.file("missing.mp4").c_str());
  }
  void TearDown() override {
    EXPECT_TRUE(runUntil([&] { return requestsAlive() == 0; }));
    EXPECT_TRUE(waitUntil([&] { return info->AddRef() + info->Release() == 3; })) << "the chain's reference";
    info.reset();
    ManagerFixture::TearDown();
  }

  void upload(int consume) { manager->asyncUploadMediaFile(info.get(), &observer, consume); }
  /// Names of the requests that reported, in order.
  [[nodiscard]] std::vector<std::string> reported() const {
    std::vector<std::string> names;
    for (const HostEvent& event : observer.events()) names.push_back(event.requestName);
    return names;
  }

  HostRecorder observer;
  RefPtr<BsExternlMediaUploadInfo> info;
};

const std::string credentials = "ExternlMediaAuthClientCredentials";
const std::string entitlement = "ExternlMediaAuthUserSupportQueryConsume";
const std::string youtubeUpload = "ExternlMediaAuthYoutubeUpload";
}  // namespace

TEST_F(UploadDispatch, RunsCredentialsEntitlementAndUploadInOrder) {
  signIn("u");
  upload(1);
  ASSERT_TRUE(waitUntil([&] { return !reported().empty() && reported().back() == youtubeUpload; }));
  EXPECT_EQ(reported()[0], credentials);
  EXPECT_EQ(reported()[1], entitlement);
  EXPECT_EQ(network.exchanges("/consume").size(), 1U);
  const auto lines = logger->linesWith(tag + "id: " + tag);
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_EQ(lines[0].text, tag + "id: " + tag);
  EXPECT_EQ(lines[0].severity, 4);
  EXPECT_EQ(lines[0].function, "KBL::BsExternlMediaAuthorize::asyncUploadMediaFile");
  EXPECT_GT(lines[0].line, 0);
  EXPECT_STREQ(info->charKeyConfig(ExternlMediaMixedCharKey::thirdAccessToken), "third-u");
}

TEST_F(UploadDispatch, TheCallerHearsOfARequestBeforeTheNextOneIsStarted) {
  signIn("u");
  std::vector<std::size_t> startedWhenHeard;
  observer.inside = [&](const HostEvent&) {
    startedWhenHeard.push_back(logger->linesWith(":queryResponse conitnue").size());
  };
  upload(1);
  ASSERT_TRUE(runUntil([&] { return requestsAlive() == 0; }));
  ASSERT_EQ(startedWhenHeard.size(), 3U);
  // The line follows the start of a request that may be quicker, so that one can be missing, but none too
  // many.
  for (std::size_t place = 0; place < 3; ++place) EXPECT_LE(startedWhenHeard[place], place);
}

TEST_F(UploadDispatch, WithoutConsumeTheEntitlementIsNotAsked) {
  signIn("u");
  upload(0);
  ASSERT_TRUE(waitUntil([&] { return !reported().empty() && reported().back() == youtubeUpload; }));
  EXPECT_EQ(reported()[0], credentials);
  EXPECT_TRUE(network.exchanges("/consume").empty());
}

TEST_F(UploadDispatch, RunsWithoutACallback) {
  signIn("u");
  manager->asyncUploadMediaFile(info.get(), nullptr, 1);
  EXPECT_TRUE(network.waitForExchanges("/consume", 1));
  EXPECT_TRUE(runUntil([&] { return requestsAlive() == 0; }));
}

TEST_F(UploadDispatch, WithoutARecordNothingStarts) {
  signIn("u");
  manager->asyncUploadMediaFile(nullptr, &observer, 1);
  EXPECT_EQ(requestsAlive(), 0U);
}

TEST_F(UploadDispatch, TheNamedUserUploads) {
  signIn("a");
  signIn("b");
  info->setCharKeyConfig(ExternlMediaLoginCharKey::userSessionId, "a");
  upload(0);
  ASSERT_TRUE(waitUntil([&] { return !reported().empty(); }));
  EXPECT_STREQ(info->charKeyConfig(ExternlMediaMixedCharKey::thirdAccessToken), "third-a");
}

TEST_F(UploadDispatch, WithoutAUuidTheLastUserUploads) {
  signIn("a");
  signIn("b");
  info->setCharKeyConfig(ExternlMediaLoginCharKey::userSessionId, "");
  upload(0);
  ASSERT_TRUE(waitUntil([&] { return !reported().empty(); }));
  EXPECT_STREQ(info->charKeyConfig(ExternlMediaMixedCharKey::thirdAccessToken), "third-b");
}

TEST_F(UploadDispatch, TheAccountTokenReachesTheUserOfTheUpload) {
  signIn("a");
  signIn("b");
  info->setCharKeyConfig(ExternlMediaLoginCharKey::userSessionId, "");
  upload(0);
  ASSERT_TRUE(waitUntil([&] { return !reported().empty(); }));
  EXPECT_EQ(user("a").accessToken, "account-a");
  EXPECT_NE(user("b").accessToken, "account-b");
}

TEST_F(UploadDispatch, TheLastRequestKeepsTheRecord) {
  signIn("u");
  upload(0);
  ASSERT_TRUE(waitUntil([&] { return !reported().empty() && reported().back() == youtubeUpload; }));
  ASSERT_TRUE(time->waitForWaiters(4)) << "two late releases a request, behind its own use of the record";
  EXPECT_EQ(referencesTo(*info), 2);
}

TEST_F(UploadDispatch, AUserWhoIsNotCachedIsReportedByTheManager) {
  upload(1);
  signIn("u");
  info->setCharKeyConfig(ExternlMediaLoginCharKey::userSessionId, "other");
  upload(1);
  const auto events = host.events();
  ASSERT_EQ(events.size(), 2U);
  for (const HostEvent& event : events) {
    EXPECT_EQ(event.infoType, infoTypeUpload);
    EXPECT_EQ(event.code, -10002);
    EXPECT_EQ(event.text, tag + ", empty data");
  }
  EXPECT_TRUE(reported().empty());
  EXPECT_TRUE(network.exchanges("/").empty());
}

TEST_F(UploadDispatch, APlatformWithoutUploaderIsReportedByTheManager) {
  auto user = makeUser("u", nowSeconds() + 10);
  user.diskType = ema_vimeo;
  AuthorizeTestAccess::setEntries(*manager, {user});
  upload(1);
  const auto events = host.events();
  ASSERT_EQ(events.size(), 1U);
  EXPECT_EQ(events[0].infoType, infoTypeUpload);
  EXPECT_EQ(events[0].code, -10002);
  EXPECT_EQ(events[0].text, tag + ", no uploader");
  const auto lines = logger->linesWith(tag + ", no uploader, disk type: " + std::to_string(ema_vimeo));
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_EQ(lines[0].severity, IBsLogger::severityError);
  EXPECT_TRUE(reported().empty());
}

TEST_F(UploadDispatch, TheRecordsPlatformChoosesTheUploadRequest) {
  for (const auto& [platform, request] : {std::pair{ema_tiktok, "ExternlMediaAuthTiktokUpload"},
                                          std::pair{ema_douyin, "ExternlMediaAuthDouyinUpload"}}) {
    auto user = makeUser("u", nowSeconds() + 10);
    user.diskType = platform;
    AuthorizeTestAccess::setEntries(*manager, {user});
    upload(1);
    ASSERT_TRUE(waitUntil([&] { return !reported().empty() && reported().back() == request; })) << request;
  }
}

TEST_F(UploadDispatch, AFailedFirstStepEndsTheChain) {
  signIn("u");
  network.answer("/credentials", R"({"code":9,"msg":"no account"})");
  upload(1);
  ASSERT_TRUE(waitUntil([&] { return !reported().empty(); }));
  ASSERT_TRUE(runUntil([&] { return requestsAlive() == 0; }));
  EXPECT_EQ(reported(), std::vector<std::string>{credentials});
  EXPECT_TRUE(host.events().empty());
  EXPECT_TRUE(network.exchanges("/consume").empty());
}

TEST_F(UploadDispatch, AFailedEntitlementEndsTheChain) {
  signIn("u");
  network.answer("/consume", R"({"code":7,"msg":"used up"})");
  upload(1);
  ASSERT_TRUE(waitUntil([&] { return reported().size() == 2; }));
  ASSERT_TRUE(runUntil([&] { return requestsAlive() == 0; }));
  EXPECT_EQ(reported(), (std::vector<std::string>{credentials, entitlement}));
  EXPECT_EQ(observer.events().back().code, 7);
  EXPECT_TRUE(host.events().empty());
}

TEST_F(UploadDispatch, AManagerThatDiesUnderAChainLeavesNothing) {
  signIn("u");
  network.hold("/consume");
  upload(1);
  ASSERT_TRUE(network.waitForExchanges("/consume", 1));
  releaseManager();
  network.open("/consume");
  EXPECT_TRUE(runUntil([&] { return requestsAlive() == 0; }));
  EXPECT_EQ(reported(), std::vector<std::string>{credentials});
}

#if defined(__GLIBC__)

TEST_F(UploadDispatch, WithoutAThreadTheManagersCallbacksHearOfIt) {
  signIn("u");
  {
    const NoThreads noThreads;
    upload(1);
  }
  const auto told = host.events(HostEvent::response);
  ASSERT_EQ(told.size(), 1U);
  EXPECT_EQ(told[0].infoType, infoTypeUpload);
  EXPECT_EQ(told[0].code, ErrorCode::noNetworkClient);
  EXPECT_EQ(told[0].text, "create network request failed");
  EXPECT_TRUE(logger->hasLine(tag + ", upload not started"));
  EXPECT_TRUE(observer.events().empty());
}
#endif
