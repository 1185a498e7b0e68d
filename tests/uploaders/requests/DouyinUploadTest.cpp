// The upload to Douyin against a scripted network: its three steps and what becomes of the upload.
#include "support/RequestListener.h"
#include "support/WaitUntil.h"
#include "uploaders/requests/OpenIdUploadFixture.h"
#include <BsNet/NetKeys.h>
#include <BsNet/createInfoObject.h>

#include <atomic>

using namespace KBL;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace {
// --- The steps

TEST_F(DouyinUpload, OpensSendsItsPartsAndCompletes) {
  useFile(mebi4 + 5);
  replyOpened();
  replyAccepted(2);
  replyCompleted();

  run();

  EXPECT_THAT(addresses(), ElementsAre(std::string(openUrl) + "?open_id=open-7", partAddress(1),
                                       partAddress(2), completeAddress()));
  for (const SentExchange& sent : network_.exchanges()) {
    EXPECT_EQ(sent.method, httpPost);
    EXPECT_EQ(sent.progress, nullptr);
    EXPECT_THAT(sent.source, IsEmpty());
  }
  EXPECT_EQ(code(), 0);
  EXPECT_EQ(text("upload_stop"), "upload_success");
  EXPECT_EQ(text("upload_progress"), "100");
}

TEST_F(DouyinUpload, TheHeaderMapOfTheFirstStepReachesNoClient) {
  useFile(1);
  const auto pubInfo = adoptRef(createInfoObject(infoObjectPubInfo));
  queryInterface<BsBaseInfoRW>(pubInfo.get(), "BsBaseInfoRW")->setCharKeyConfig(PubCharKey::prodVer, "9.9");
  request_->setPubParam(queryInterface<IBsPubInfo>(pubInfo.get(), "IBsPubInfo"));
  replyOpened();
  replyAccepted();
  replyCompleted();

  run();

  ASSERT_THAT(network_.exchanges(), SizeIs(3));
  for (const SentExchange& sent : network_.exchanges()) {
    EXPECT_EQ(sent.headerCalls, 1) << "by the frame alone";
    EXPECT_THAT(sent.headers, ElementsAre(std::pair{PubCharKey::prodVer, "9.9"}));
  }
}

TEST_F(DouyinUpload, TheTokenIsNeededAndNeverSent) {
  useFile(1);
  manager_->onAccessToken = [] { return std::string("very-secret"); };
  const ScopedRecordingLogger log;
  replyOpened();
  replyAccepted();
  replyCompleted();
  run();
  for (const SentExchange& sent : network_.exchanges()) {
    EXPECT_EQ(sent.url.find("very-secret"), std::string::npos);
    EXPECT_THAT(sent.headers, IsEmpty());
    EXPECT_EQ(sent.body.find("very-secret"), std::string::npos);
  }
  EXPECT_THAT(log->linesWith("very-secret"), IsEmpty());
}

TEST_F(DouyinUpload, OpeningSendsNoBodyAndCompletingTheLastPartsBytes) {
  useFile(mebi4 + 3);
  replyOpened();
  replyAccepted(2);
  replyCompleted();
  run();
  EXPECT_EQ(network_.exchanges().at(0).bodyCalls, 0);
  EXPECT_EQ(network_.exchanges().at(0).body, "");
  EXPECT_EQ(network_.exchanges().at(3).bodyCalls, 2) << "one for each part";
  EXPECT_EQ(network_.exchanges().at(3).body, contents_.substr(mebi4));
}

TEST_F(DouyinUpload, AKeyThatTheConfigurationLacksReadsAsEmptyText) {
  setCloudConfig({{"urlExternlMediaAuthDouyinUpload", namedUrl}});
  useFile(1);
  replyOpened();
  replyAccepted();
  replyCompleted();
  run();
  EXPECT_THAT(addresses(), ElementsAre("?open_id=open-7", "?open_id=open-7&upload_id=up-1&part_number=1",
                                       "?open_id=open-7&upload_id=up-1"));
}

TEST_F(DouyinUpload, WithoutTheKeyThatNamesTheRequestNothingIsSent) {
  setCloudConfig({{"urlExternlMediaAuthDouyinVideoPartInit", openUrl}});
  useFile(1);
  run();
  EXPECT_EQ(code(), -10001);
  EXPECT_THAT(network_.exchanges(), IsEmpty());
}

TEST_F(DouyinUpload, AnUploadIdThatIsMissingReadsAsEmptyText) {
  useFile(1);
  network_.reply(200, R"({"data":{"upload_id":[7]}})");
  replyAccepted();
  replyCompleted();
  run();
  EXPECT_EQ(network_.exchanges().at(2).url, std::string(completeUrl) + "?open_id=open-7&upload_id=");
  EXPECT_EQ(text("upload_stop"), "upload_success");
}

TEST_F(DouyinUpload, AnUploadIdThatIsANumberIsTakenAsText) {
  useFile(1);
  network_.reply(200, R"({"data":{"error_code":0,"upload_id":7046518371945631744}})");
  replyAccepted();
  replyCompleted();
  run();
  EXPECT_EQ(network_.exchanges().at(2).url,
            std::string(completeUrl) + "?open_id=open-7&upload_id=7046518371945631744");
}

// --- Opening fails

TEST_F(DouyinUpload, ARefusedOpeningIsReportedAndNoPartIsSent) {
  useFile(1);
  network_.reply(200, R"({"data":{"error_code":2190008,"description":"token expired"}})");
  EXPECT_EQ(request(info_.get()), resultFailed);
  run();
  EXPECT_EQ(code(), 2190008);
  EXPECT_EQ(message(), "token expired");
  EXPECT_EQ(text("upload_stop"), "(unset)");
  EXPECT_THAT(addresses(), SizeIs(2)) << "one for each of the two runs";
  EXPECT_THAT(time_->passedWaits(), IsEmpty());
}

TEST_F(DouyinUpload, AnOpeningWithBadJsonHasNoCode) {
  useFile(1);
  network_.reply(200, "oops");
  run();
  EXPECT_EQ(code(), 0);
  EXPECT_EQ(message(), "can't read json. response:oops");
  EXPECT_THAT(network_.exchanges(), SizeIs(1));
}

TEST_F(DouyinUpload, AnOpeningWithBadJsonAndAFailureStatusFallsBackToTheStatus) {
  useFile(1);
  network_.reply(502, "<html>");
  run();
  EXPECT_EQ(code(), 502);
  EXPECT_EQ(message(), "<html>");
}

TEST_F(DouyinUpload, AnOpeningThatBreaksReportsTheTransport) {
  useFile(1);
  network_.failure(7, "could not connect");
  run();
  EXPECT_EQ(code(), 200007);
  EXPECT_EQ(message(), "could not connect");
  EXPECT_THAT(network_.exchanges(), SizeIs(1));
}

// --- The end of the parts

TEST_F(DouyinUpload, TheReadPastTheEndIsTheNormalEndOfTheParts) {
  for (const std::uint64_t size : {std::uint64_t{5}, mebi4, 2 * mebi4}) {
    useFile(size);
    network_.clear();
    info_->setCharKeyConfig("upload_stop", "");
    replyOpened();
    replyAccepted(static_cast<int>((size + mebi4 - 1) / mebi4));
    replyCompleted();
    network_.onExchange([&](const SentExchange& sent) {
      if (sent.url != completeAddress()) return;
      EXPECT_EQ(text("upload_stop"), "upload_error");
      EXPECT_EQ(code(), -10029);
      EXPECT_EQ(message(), "read file error");
    });
    run();
    EXPECT_EQ(addresses().back(), completeAddress());
    EXPECT_EQ(text("upload_stop"), "upload_success");
    EXPECT_EQ(code(), 0);
  }
}

TEST_F(DouyinUpload, AFileThatShrinksEndsItsPartsEarlyAndIsCompletedAllTheSame) {
  useFile(3 * mebi4);
  replyOpened();
  replyAccepted();
  replyCompleted();
  network_.onExchange([&](const SentExchange& sent) {
    if (sent.number == 2) std::filesystem::resize_file(path_, 10);
  });
  run();
  EXPECT_THAT(addresses(), SizeIs(3));
  EXPECT_EQ(text("upload_stop"), "upload_success");
}

TEST_F(DouyinUpload, AFileThatGrowsIsSentUpToTheSizeThatWasFound) {
  useFile(10);
  replyOpened();
  replyAccepted();
  replyCompleted();
  network_.onExchange([&](const SentExchange& sent) {
    if (sent.number == 1) std::filesystem::resize_file(path_, 100);
  });
  run();
  EXPECT_THAT(addresses(), SizeIs(3));
  EXPECT_EQ(network_.exchanges().at(1).body, contents_);
}

// --- Stops

TEST_F(DouyinUpload, ACancelBetweenPartsIsCompletedAndReportedAsFinished) {
  useFile(3 * mebi4);
  replyOpened();
  replyAccepted();
  replyCompleted();
  network_.onExchange([&](const SentExchange& sent) {
    if (sent.number == 2) stop();
  });
  run();
  EXPECT_THAT(addresses(), ElementsAre(testing::_, partAddress(1), completeAddress()));
  EXPECT_EQ(text("upload_stop"), "upload_success");
  EXPECT_EQ(code(), 0);
  EXPECT_EQ(deliveries_.events().back().videoUrl, "");
}

TEST_F(DouyinUpload, ACancelWhoseCompletingCallIsRefusedReportsThatAndNoCancel) {
  useFile(3 * mebi4);
  replyOpened();
  replyAccepted();
  replyRefused(2100009);
  network_.onExchange([&](const SentExchange& sent) {
    if (sent.number == 2) stop();
  });
  run();
  EXPECT_EQ(code(), 2100009);
  EXPECT_EQ(message(), "no");
  EXPECT_EQ(text("upload_stop"), "upload_error");
}

TEST_F(DouyinUpload, ACancelBeforeTheFirstPartIsCompletedWithoutABody) {
  useFile(1);
  replyOpened();
  replyCompleted();
  network_.onExchange([&](const SentExchange&) { stop(); });
  run();
  EXPECT_THAT(addresses(), ElementsAre(testing::_, completeAddress()));
  EXPECT_EQ(network_.exchanges().at(1).body, "");
  EXPECT_EQ(text("upload_stop"), "upload_success");
}

TEST_F(DouyinUpload, TheEndOfTheManagerStopsThePartsLikeTheUser) {
  useFile(3 * mebi4);
  replyOpened();
  replyAccepted();
  replyCompleted();
  network_.onExchange([&](const SentExchange& sent) {
    if (sent.number == 2) manager_.die();
  });
  run();
  EXPECT_THAT(addresses(), SizeIs(3));
  EXPECT_EQ(addresses().back(), completeAddress());
}

// --- Completing

TEST_F(DouyinUpload, TheFinishIsDeliveredWithAnEmptyAddressAlthoughThereIsAShareId) {
  useFile(1);
  replyOpened();
  replyAccepted();
  replyCompleted();
  run();
  const Delivered finished = deliveries_.events().back();
  EXPECT_EQ(finished.progress, "100");
  EXPECT_EQ(finished.code, 0);
  EXPECT_EQ(finished.message, "");
  EXPECT_EQ(finished.stopFlag, "upload_success");
  EXPECT_EQ(finished.videoUrl, "");
  EXPECT_EQ(text("upload_video_url"), "") << "the share id stays in the request";
  EXPECT_EQ(request_->replyInfo()->infoType(), 405);
}

TEST_F(DouyinUpload, ACompletingAnswerWithoutAShareIdFinishesToo) {
  useFile(1);
  replyOpened();
  replyAccepted();
  network_.reply(200, "{}");
  run();
  EXPECT_EQ(text("upload_stop"), "upload_success");
  EXPECT_EQ(text("upload_video_url"), "");
  EXPECT_EQ(code(), 0);
}

TEST_F(DouyinUpload, ARefusedCompletionIsTheOutcome) {
  useFile(1);
  replyOpened();
  replyAccepted();
  replyRefused(28001005);
  run();
  const Delivered told = deliveries_.events().back();
  EXPECT_EQ(told.code, 28001005);
  EXPECT_EQ(told.message, "no");
  EXPECT_EQ(told.stopFlag, "upload_error");
  EXPECT_EQ(told.videoUrl, "(unset)");
  EXPECT_EQ(code(), 28001005);
}

TEST_F(DouyinUpload, ACompletionWithBadJsonHasNoCode) {
  useFile(1);
  replyOpened();
  replyAccepted();
  network_.reply(200, "oops");
  run();
  EXPECT_EQ(deliveries_.events().back().code, 0);
  EXPECT_EQ(text("upload_stop"), "upload_error");
  EXPECT_EQ(message(), "can't read json. response:oops");
}

TEST_F(DouyinUpload, ACompletionThatBreaksReportsTheTransport) {
  useFile(1);
  replyOpened();
  replyAccepted();
  network_.failure(52, "nothing came");
  run();
  EXPECT_EQ(code(), 200052);
  EXPECT_EQ(text("upload_stop"), "upload_error");
}

TEST_F(DouyinUpload, TheFramesClosingDeliveryFinishesASecondTime) {
  useFile(1);
  replyOpened();
  replyAccepted();
  replyCompleted();
  const ScopedRecordingLogger log;
  std::atomic<int> finished{0};
  RequestListener callback([&](auto*, IBsInfoReader* info, auto*) {
    if (info->charKeyConfig("upload_video_url") != nullptr) ++finished;
  });
  request_->clearCallbacks();
  request_->addCallback(&callback, false);

  request_->AddRef();  // the creator's, which goes with the start
  ASSERT_EQ(request_->asyncRequestWithInfo(info_.get()), 0);
  request_.reset();

  ASSERT_TRUE(log->waitForLineWith("release:ExternlMediaAuthDouyinUpload"));
  EXPECT_EQ(finished, 2);
}
}  // namespace
