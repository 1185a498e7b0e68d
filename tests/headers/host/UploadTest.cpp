// The typed upload over the exports of the shared library, against the sandbox.
#include "boundary/transfers/UploadFixture.h"
#include "support/Flag.h"
#include <ExternlMediaTransfer/host/Upload.h>

#include <thread>
#include <type_traits>

using namespace std::chrono_literals;
using KBL::host::EventQueue;
using KBL::host::Upload;
using KBL::host::UploadEnd;
using KBL::host::UploadJob;
using sandbox::Fault;
using sandbox::Route;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

namespace {

constexpr auto patience = 30s;

/// What cannot be written: the calls that the numbered commands take in silence.
template <class Argument>
constexpr bool isJob = std::is_invocable_v<decltype(&Upload::start), Upload&, Argument>;
static_assert(isJob<UploadJob>);
static_assert(!isJob<KBL::hostTransferRecord*> && !isJob<int> && !isJob<std::nullptr_t>);
static_assert(!std::is_invocable_v<decltype(&Upload::setBrand), Upload&, int>);
static_assert(!std::is_constructible_v<Upload, int>, "a number of the managers' side, say");
static_assert(!std::is_copy_constructible_v<Upload>);

class TypedUpload : public UploadFixture {
 protected:
  explicit TypedUpload(const NativePlatform& platform = youtube) : UploadFixture(platform) {}

  UploadJob jobOf(std::uint64_t size) { return {makeFile(size), "A day at the sea"}; }
};

TEST_F(TypedUpload, TellsItsProgressAndItsAddress) {
  std::vector<int> progress;
  Upload upload(KBL::transferYoutube, {[&](int percent) { progress.push_back(percent); }, {}});
  upload.start(jobOf(2 * chunk));
  const UploadEnd end = upload.waitForEnd(patience);
  EXPECT_TRUE(end.isGood()) << end.failure.message;
  EXPECT_THAT(end.address, StartsWith("https://www.youtube.com/watch?v="));
  ASSERT_EQ(sandbox_.uploads().size(), 1U);
  EXPECT_EQ(sandbox_.uploads().front().sha256, sha256(contents_));
  EXPECT_THAT(sandbox_.uploads().front().metadata, HasSubstr("A day at the sea"));
  ASSERT_THAT(progress, Not(IsEmpty()));
  EXPECT_EQ(progress.front(), 49);
}

TEST_F(TypedUpload, TellsEverythingOnTheThreadOfTheQueue) {
  EventQueue queue;
  std::vector<std::thread::id> threads;
  const auto note = [&] { threads.push_back(std::this_thread::get_id()); };
  Upload upload(KBL::transferYoutube, {[&](int) { note(); }, {}}, queue.executor());
  std::optional<UploadEnd> end;
  upload.start(jobOf(chunk)).then([&](const UploadEnd& how) {
    note();
    end = how;
  });
  ASSERT_TRUE(waitUntil([&] {
    queue.runFor(10ms);
    return end.has_value();
  }));
  EXPECT_TRUE(end->isGood());
  EXPECT_THAT(threads, Each(std::this_thread::get_id()));
  EXPECT_GT(threads.size(), 1U);
}

TEST_F(TypedUpload, EndsWithTheErrorOfTheService) {
  const auto fault = sandbox_.orderFault(Route::consume, Fault::status(403), 1, 0);
  std::vector<int> codes;
  Upload upload(KBL::transferYoutube,
                {{}, [&](const KBL::host::Failure& one) { codes.push_back(one.code); }});
  upload.start(jobOf(10));
  const UploadEnd end = upload.waitForEnd(patience);
  EXPECT_EQ(end.how, UploadEnd::How::failed);
  EXPECT_EQ(end.failure.code, 403);
  EXPECT_NE(end.value, 0);
  EXPECT_THAT(codes, ElementsAre(403));
  EXPECT_GE(sandbox_.faultsDelivered(fault), 1U);
}

TEST_F(TypedUpload, RefusesWhatDoesNotFitARecord) {
  Upload upload(KBL::transferYoutube);
  UploadJob job = jobOf(10);
  job.title = std::string(1024, 't');
  const auto end = upload.start(job).get();
  ASSERT_TRUE(end);
  EXPECT_EQ(end->how, UploadEnd::How::notStarted);
  EXPECT_THAT(end->failure.message, HasSubstr("title"));
  EXPECT_THAT(sandbox_.requests(Route::consume), IsEmpty());
  job.title.pop_back();
  upload.start(job);
  EXPECT_NE(upload.waitForEnd(patience).how, UploadEnd::How::notStarted);
}

TEST_F(TypedUpload, IsNotStartedWhereNothingServesThePlatform) {
  Upload upload(KBL::transferTiktok);
  const auto end = upload.start(jobOf(10)).get();
  ASSERT_TRUE(end);
  EXPECT_EQ(end->how, UploadEnd::How::notStarted);
  EXPECT_EQ(end->failure.code, KBL::resultNoObject);
  EXPECT_FALSE(upload.account());
  EXPECT_FALSE(upload.loginAddress());
  EXPECT_EQ(upload.finishLogin("http://localhost/?code=1").code, KBL::resultNoObject);
  EXPECT_EQ(upload.resumeLogin("token").code, KBL::resultNoObject);
  EXPECT_EQ(upload.setApplication("key", "secret", "http://localhost/"), KBL::resultNoObject);
  EXPECT_EQ(upload.setBrand(Upload::Brand::second), KBL::resultOk);
  EXPECT_EQ(upload.share("a", "b"), KBL::resultNoObject);
}

TEST_F(TypedUpload, KnowsItsAccountAndSignsItOut) {
  Upload upload(KBL::transferYoutube);
  const auto account = upload.account();
  ASSERT_TRUE(account);
  EXPECT_EQ(account->name, "Zoë");
  EXPECT_EQ(account->categories, "Film|Music|");
  EXPECT_EQ(upload.signOut(), KBL::resultOk);
  EXPECT_FALSE(upload.account());
}

TEST_F(TypedUpload, ThatFallsSilentIsGivenUpByPatience) {
  Upload upload(KBL::transferYoutube);
  EXPECT_EQ(upload.waitForEnd(1ms).how, UploadEnd::How::notStarted) << "nothing runs";
  const auto stall = sandbox_.orderFault(Route::youtubeUploadChunk, Fault::stall());
  const auto end = upload.start(jobOf(chunk));
  ASSERT_TRUE(sandbox_.waitForFaults(stall, 1, generousLimit));
  EXPECT_FALSE(upload.endAfter(1h));
  EXPECT_EQ(upload.waitForEnd(20ms).how, UploadEnd::How::silent);
  EXPECT_EQ(end.get()->how, UploadEnd::How::silent);
  sandbox_.releaseStalls();
  EXPECT_TRUE(waitForEnds());
  EXPECT_EQ(end.get()->how, UploadEnd::How::silent) << "an end stays";
}

TEST_F(TypedUpload, IsDroppedWithItsObject) {
  const auto stall = sandbox_.orderFault(Route::youtubeUploadChunk, Fault::stall());
  std::optional<KBL::host::Eventual<UploadEnd>> end;
  std::atomic<int> calls{0};
  {
    Upload upload(KBL::transferYoutube, {[&](int) { ++calls; }, [&](const auto&) { ++calls; }});
    end = upload.start(jobOf(chunk));
    ASSERT_TRUE(sandbox_.waitForFaults(stall, 1, generousLimit));
  }
  ASSERT_TRUE(end->get());
  EXPECT_EQ(end->get()->how, UploadEnd::How::dropped);
  sandbox_.releaseStalls();
  EXPECT_TRUE(waitForEnds());
  EXPECT_EQ(calls, 0);
}

TEST_F(TypedUpload, IsDroppedByTheNextOne) {
  const auto stall = sandbox_.orderFault(Route::youtubeUploadChunk, Fault::stall());
  Upload upload(KBL::transferYoutube);
  const auto first = upload.start(jobOf(chunk));
  ASSERT_TRUE(sandbox_.waitForFaults(stall, 1, generousLimit));
  UploadJob refused = jobOf(10);
  refused.title = std::string(1024, 't');
  EXPECT_EQ(upload.start(refused).get()->how, UploadEnd::How::notStarted);
  ASSERT_TRUE(first.get());
  EXPECT_EQ(first.get()->how, UploadEnd::How::dropped);
  sandbox_.releaseStalls();
  EXPECT_TRUE(waitForEnds());
}

TEST_F(TypedUpload, MayGoWhenWhoHearsOfItThrows) {
  const auto stall = sandbox_.orderFault(Route::youtubeUploadChunk, Fault::stall());
  int ends = 0;
  {
    Upload upload(KBL::transferYoutube);
    const auto end = upload.start(jobOf(chunk));
    end.then([](const UploadEnd&) { throw std::runtime_error("no"); });
    end.then([&](const UploadEnd&) { ++ends; });
    ASSERT_TRUE(sandbox_.waitForFaults(stall, 1, generousLimit));
  }
  EXPECT_EQ(ends, 1);
  sandbox_.releaseStalls();
  EXPECT_TRUE(waitForEnds());
}

TEST_F(TypedUpload, HasNoLoginAddressWhereAManagerSignsIn) {
  EXPECT_FALSE(Upload(KBL::transferYoutube).loginAddress());
}

TEST_F(TypedUpload, MayGoInsideItsOwnFunction) {
  Flag hasGone;
  auto upload = std::make_unique<Upload>(KBL::transferYoutube);
  std::unique_ptr<Upload>* const kept = &upload;
  upload = std::make_unique<Upload>(KBL::transferYoutube, Upload::Handlers{[&, kept](int) {
                                                                             kept->reset();
                                                                             hasGone.raise();
                                                                           },
                                                                           {}});
  const auto end = upload->start(jobOf(3 * chunk));
  ASSERT_TRUE(hasGone.wait());
  EXPECT_EQ(end.waitFor(generousLimit)->how, UploadEnd::How::dropped);
  EXPECT_TRUE(waitForEnds());
}

TEST_F(TypedUpload, TellsNothingOnTheQueueOnceItHasGone) {
  EventQueue queue;
  int calls = 0;
  {
    Upload upload(KBL::transferYoutube, {[&](int) { ++calls; }, {}}, queue.executor());
    upload.start(jobOf(chunk));
    ASSERT_TRUE(upload.waitForEnd(patience).isGood());
  }
  EXPECT_GT(queue.run(), 0U) << "what was told waited here";
  EXPECT_EQ(calls, 0);
}

TEST_F(TypedUpload, CarriesTheAccountServersNumbers) {
  Upload upload(KBL::transferYoutube);
  UploadJob job = jobOf(10);
  job.client = 5;
  job.action = 7;
  upload.start(job);
  ASSERT_TRUE(upload.waitForEnd(patience).isGood());
  const auto asked = sandbox_.requests(Route::consume);
  ASSERT_THAT(asked, testing::SizeIs(1));
  EXPECT_THAT(asked.front().body, HasSubstr("\"action_type\":7"));
  EXPECT_THAT(asked.front().body, HasSubstr("\"use_client\":5"));
}

TEST_F(TypedUpload, SurvivesAFunctionThatThrows) {
  Upload upload(KBL::transferYoutube, {[](int) { throw std::runtime_error("no"); }, {}});
  upload.start(jobOf(chunk));
  EXPECT_TRUE(upload.waitForEnd(patience).isGood());
}

class TypedDouyinUpload : public TypedUpload {
 protected:
  TypedDouyinUpload() : TypedUpload(douyin) {}
};

TEST_F(TypedDouyinUpload, FinishesOnce) {
  Upload upload(KBL::transferDouyin);
  std::atomic<int> ends{0};
  upload.start(jobOf(10)).then([&](const UploadEnd&) { ++ends; });
  EXPECT_TRUE(upload.waitForEnd(patience).isGood());
  EXPECT_TRUE(waitForEnds());
  EXPECT_EQ(ends, 1);
}

TEST_F(TypedDouyinUpload, GoesOnBehindAnErrorThatALaterTryMends) {
  const auto fault = sandbox_.orderFault(Route::douyinUploadPart, Fault::status(500));
  std::vector<int> codes;
  Upload upload(KBL::transferDouyin, {{}, [&](const KBL::host::Failure& one) { codes.push_back(one.code); }});
  upload.start(jobOf(10));
  EXPECT_TRUE(upload.waitForEnd(patience).isGood());
  EXPECT_EQ(sandbox_.faultsDelivered(fault), 1U);
}

TEST_F(TypedDouyinUpload, FailsWithItsLastWordOnceNothingFollows) {
  const auto fault =
      sandbox_.orderFault(Route::douyinUploadComplete, Fault::replaceMember("data.error_code", "2190008"));
  Upload upload(KBL::transferDouyin);
  const auto end = upload.start(jobOf(10));
  ASSERT_TRUE(waitForEnds());
  EXPECT_FALSE(end.get()) << "progress might follow";
  const UploadEnd last = upload.waitForEnd(0ms);
  EXPECT_EQ(last.how, UploadEnd::How::failed);
  EXPECT_EQ(last.failure.code, 2190008);
  EXPECT_EQ(sandbox_.faultsDelivered(fault), 1U);
}

}  // namespace
