// What whole uploads to every native platform have in common, through the exports against the sandbox.
#include "boundary/transfers/UploadFixture.h"
#include "support/HostRecorder.h"
#include <ExternlMediaTransfer/TransferNumbers.h>

using namespace KBL;
using sandbox::Fault;
using sandbox::Route;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace {
/// A platform, and what its host hears in its own way.
struct UploadKind {
  NativePlatform platform;
  Route firstCall;       ///< of the upload itself
  std::size_t finishes;  ///< events that tell the end
  int fileError;         ///< the host's number of a bad file
  int entitlementError;  ///< the host's number of a refused entitlement

  friend std::ostream& operator<<(std::ostream& out, const UploadKind& kind) { return out << kind.platform; }
};

const UploadKind uploadKinds[] = {
    {youtube, Route::youtubeUploadOpen, 1, 14, 13},
    {tiktok, Route::tiktokUpload, 1, 12, 12},
    {douyin, Route::douyinUploadInit, 2, 12, 12},
};

class EveryUpload : public UploadFixture, public testing::WithParamInterface<UploadKind> {
 protected:
  EveryUpload() : UploadFixture(GetParam().platform) {}
};

INSTANTIATE_TEST_SUITE_P(To, EveryUpload, testing::ValuesIn(uploadKinds), [](const auto& kind) {
  return std::string(kind.param.platform.uploadRequest).substr(std::size("ExternlMediaAuth") - 1);
});

TEST_P(EveryUpload, IsFollowedByAnotherOfTheSameTransfer) {
  const auto transfer = makeUploadOf(makeFile(10));
  transfer->Start();
  ASSERT_TRUE(events_.waitFor(8, GetParam().finishes));
  transfer->Command(KBL::commandSetRecord, makeUploadJob(makeFile(20, "second.mp4")).get());
  transfer->Start();
  ASSERT_TRUE(events_.waitFor(8, 2 * GetParam().finishes));
  EXPECT_EQ(sandbox_.uploads().at(1).receivedSize, 20U);
}

TEST_P(EveryUpload, OfABadFileIsReportedWithItsPath) {
  const std::string missing = files_.file("missing.mp4");
  const std::string empty = makeFile(0, "empty.mp4");
  const std::string directory = files_.path().string();
  for (const auto& [path, text] : {std::pair{missing, "-10023," + missing + ", not exist"},
                                   std::pair{directory, "-10024," + directory + ", open failed"},
                                   std::pair{empty, "-10025," + empty + ", empty file"}}) {
    EventLog events;
    const auto transfer = makeUpload(events, path, platform_.transfer);
    transfer->Start();
    ASSERT_TRUE(events.waitFor(12));
    EXPECT_THAT(events.events(), ElementsAre(IsEvent(12, GetParam().fileError, text)));
  }
  EXPECT_EQ(sandbox_.requestCount(GetParam().firstCall), 0U);
}

TEST_P(EveryUpload, WithARefusedEntitlementIsReportedAndEndsTheChain) {
  const auto fault =
      sandbox_.orderFault(Route::consume, Fault::body(R"({"code":231500,"msg":"no more uploads"})"));
  const auto transfer = makeUploadOf(makeFile(1));
  transfer->Start();
  ASSERT_TRUE(events_.waitFor(12));
  EXPECT_THAT(events_.events(),
              ElementsAre(IsEvent(12, GetParam().entitlementError, "231500,no more uploads")));
  EXPECT_EQ(sandbox_.faultsDelivered(fault), 1U);
  EXPECT_EQ(sandbox_.requestCount(GetParam().firstCall), 0U);
}

TEST_P(EveryUpload, WithRefusedCredentialsReachesTheHostAsNothingAtAll) {
  HostRecorder host;
  (*manager_)->addAuthCallback(&host);
  const auto fault =
      sandbox_.orderFault(Route::clientCredentials, Fault::body(R"({"code":7,"msg":"bad secret"})"));
  const auto transfer = makeUploadOf(makeFile(1));
  EXPECT_EQ(transfer->Start(), 0);
  ASSERT_TRUE(waitForEnds());
  EXPECT_THAT(events_.events(), IsEmpty());
  EXPECT_THAT(host.events(HostEvent::response), IsEmpty());
  EXPECT_EQ(sandbox_.faultsDelivered(fault), 1U);
  (*manager_)->removeAuthCallback(&host);
}

TEST_P(EveryUpload, OfAnUnknownUserIsToldByTheManagerAndNotByTheTransfer) {
  HostRecorder host;
  (*manager_)->addAuthCallback(&host);
  const auto transfer = makeUploadOf(makeFile(1));
  const auto job = makeUploadJob(files_.file("clip.mp4"));
  job->userUuid[0] = 'x';
  transfer->Command(KBL::commandSetRecord, job.get());
  EXPECT_EQ(transfer->Start(), 0);
  ASSERT_THAT(host.events(HostEvent::response), SizeIs(1));
  EXPECT_EQ(host.events(HostEvent::response)[0].infoType, 406);
  EXPECT_EQ(host.events(HostEvent::response)[0].code, -10002);
  EXPECT_THAT(host.events(HostEvent::response)[0].text, testing::EndsWith(", empty data"));
  EXPECT_EQ(host.events(HostEvent::response)[0].thread, std::this_thread::get_id());
  EXPECT_THAT(events_.events(), IsEmpty());
  EXPECT_THAT(routes(), IsEmpty());
  (*manager_)->removeAuthCallback(&host);
}

TEST_P(EveryUpload, OfNobodyAnswersItsSignOutWithinTheCall) {
  const auto transfer = makeUploadOf(makeFile(1));
  (void)transfer->Start();
  ASSERT_TRUE(waitForEnds());
  EXPECT_EQ((*manager_)->logout(""), KBL::resultOk);
  HostRecorder host;
  (*manager_)->addAuthCallback(&host);

  EXPECT_EQ(transfer->Query(KBL::queryLogout), KBL::resultFailed);

  const auto told = host.events(HostEvent::response);
  ASSERT_THAT(told, SizeIs(1));
  EXPECT_EQ(told[0].infoType, 402);
  EXPECT_EQ(told[0].code, -10021);
  EXPECT_EQ(told[0].thread, std::this_thread::get_id());
  (*manager_)->removeAuthCallback(&host);
}

// The limits that a test can reach with a file of its own.

struct UploadLimit {
  NativePlatform platform;
  std::uint64_t bytes;
  const char* text;

  friend std::ostream& operator<<(std::ostream& out, const UploadLimit& limit) {
    return out << limit.platform;
  }
};

class LimitedUpload : public UploadFixture, public testing::WithParamInterface<UploadLimit> {
 protected:
  LimitedUpload() : UploadFixture(GetParam().platform) {}
};

INSTANTIATE_TEST_SUITE_P(To, LimitedUpload,
                         testing::Values(UploadLimit{tiktok, 52428800, "50MB"},
                                         UploadLimit{douyin, 134217728, "128MB"}));

TEST_P(LimitedUpload, OfAFileOfTheLimitIsRefusedAfterTheChainsFirstCalls) {
  const std::string path = makeSparseFile(GetParam().bytes);
  const auto transfer = makeUploadOf(path);
  transfer->Start();
  ASSERT_TRUE(events_.waitFor(12));
  ASSERT_TRUE(waitForEnds());
  EXPECT_THAT(events_.events(),
              ElementsAre(IsEvent(12, 12, "-10026," + path + ", limit " + GetParam().text)));
  EXPECT_THAT(routes(), ElementsAre(Route::clientCredentials, Route::consume));
}
}  // namespace
