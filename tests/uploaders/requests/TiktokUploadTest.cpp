// The upload to TikTok against a scripted network: the one exchange, its progress, and every way to end.
#include "uploaders/requests/OpenIdUploadFixture.h"

using namespace KBL;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace {
constexpr const char* published = R"({"data":{"error_code":0,"share_id":"share-9"}})";

/// The client tells that so many bytes were sent; the answer says whether the transfer goes on.
bool tellSent(IBsProgressCallback& progress, long long sent) {
  return progress.onProgress(0, 0, 1000000, sent);
}

// --- The exchange

TEST_F(TiktokUpload, SendsTheFileAsTheFormFieldVideoInOnePost) {
  useFile(1000);
  network_.reply(200, published);

  run();

  ASSERT_THAT(network_.exchanges(), SizeIs(1));
  const SentExchange sent = network_.exchanges()[0];
  EXPECT_EQ(sent.url, std::string(namedUrl) + "?access_token=token-1&open_id=open-7");
  EXPECT_EQ(sent.method, httpPost);
  EXPECT_THAT(sent.source, ElementsAre(std::pair{"video", path_}));
  EXPECT_EQ(sent.body, "");
  EXPECT_NE(sent.progress, nullptr);
  EXPECT_THAT(time_->passedWaits(), IsEmpty());
}

TEST_F(TiktokUpload, TitleDescriptionTagsAndPrivacyAreNotSent) {
  useFile(1);
  for (const char* const key : {"upload_title", "upload_desc", "upload_tags", "upload_privacy"}) {
    set(key, "SomeText");
  }
  network_.reply(200, published);
  run();
  const SentExchange sent = network_.exchanges().at(0);
  EXPECT_EQ(sent.url.find("SomeText"), std::string::npos);
  EXPECT_THAT(sent.source, SizeIs(1));
  EXPECT_EQ(sent.body, "");
}

TEST_F(TiktokUpload, TheAddressIsLoggedAsItIsTheTokenIncluded) {
  useFile(1);
  const ScopedRecordingLogger log;
  network_.reply(200, published);
  run();
  const auto lines = log->linesWith("?access_token=");
  ASSERT_THAT(lines, SizeIs(1));
  EXPECT_EQ(lines[0].text,
            std::string("ExternlMediaAuthTiktokUpload:") + namedUrl + "?access_token=token-1&open_id=open-7");
  EXPECT_EQ(lines[0].severity, 4);
  EXPECT_EQ(lines[0].function, "KBL::BsExternlMediaAuthTiktokUploadFileRequest::Request");
  EXPECT_GT(lines[0].line, 0);
}

TEST_F(TiktokUpload, ATokenThatSpoilsTheAddressIsRefused) {
  useFile(1);
  manager_->onAccessToken = [] { return std::string("a b"); };
  network_.reply(200, published);
  EXPECT_EQ(request(info_.get()), resultFailed);
  run();
  EXPECT_EQ(code(), -10001);
  EXPECT_EQ(message(), "url invalid");
  EXPECT_THAT(network_.exchanges(), IsEmpty());
}

TEST_F(TiktokUpload, APublishedVideoIsToldByItsBareShareId) {
  useFile(1);
  network_.reply(200, published);
  run();
  EXPECT_EQ(code(), 0);
  EXPECT_EQ(message(), "");
  EXPECT_EQ(text("upload_stop"), "upload_success");
  EXPECT_EQ(text("upload_video_url"), "share-9");
  EXPECT_EQ(text("upload_progress"), "100");
  EXPECT_EQ(request_->replyInfo()->infoType(), 405);
  EXPECT_THAT(deliveries_.events(), IsEmpty()) << "the closing delivery is the frame's";
}

TEST_F(TiktokUpload, AShareIdThatIsANumberIsToldAsText) {
  useFile(1);
  network_.reply(200, R"({"data":{"error_code":0,"share_id":7046518371945631744}})");
  run();
  EXPECT_EQ(text("upload_stop"), "upload_success");
  EXPECT_EQ(text("upload_video_url"), "7046518371945631744");
}

// --- Progress

TEST_F(TiktokUpload, ProgressIsTheShareOfTheFileInWholePercent) {
  useFile(1000);
  network_.reply(200, published);
  network_.onWatched([](IBsProgressCallback& progress) {
    for (const long long sent : {10, 19, 20, 505, 989, 990}) EXPECT_TRUE(tellSent(progress, sent));
    return true;
  });
  run();
  EXPECT_THAT(deliveries_.progress(), ElementsAre("1", "1", "2", "50", "98", "99"));
  EXPECT_THAT(deliveries_.codes(), Each(0));
}

TEST_F(TiktokUpload, BelowOnePercentNothingIsDelivered) {
  useFile(1000);
  network_.reply(200, published);
  network_.onWatched([&](IBsProgressCallback& progress) {
    for (const long long sent : {0, 1, 9}) EXPECT_TRUE(tellSent(progress, sent));
    EXPECT_EQ(text("upload_progress"), "(unset)");
    return true;
  });
  run();
  EXPECT_THAT(deliveries_.events(), IsEmpty());
}

TEST_F(TiktokUpload, ProgressReads99UntilTheAnswerHasBeenRead) {
  useFile(1000);
  network_.reply(200, published);
  network_.onWatched([](IBsProgressCallback& progress) {
    // A form is a little longer than its file.
    for (const long long sent : {1000, 1250, 1000000}) EXPECT_TRUE(tellSent(progress, sent));
    return true;
  });
  run();
  EXPECT_THAT(deliveries_.progress(), ElementsAre("99", "99", "99"));
  EXPECT_EQ(text("upload_progress"), "100");
}

TEST_F(TiktokUpload, AnUnchangedPercentageIsDeliveredAgain) {
  useFile(1000);
  network_.reply(200, published);
  network_.onWatched([](IBsProgressCallback& progress) {
    for (int i = 0; i < 3; ++i) EXPECT_TRUE(tellSent(progress, 500));
    return true;
  });
  run();
  EXPECT_THAT(deliveries_.progress(), ElementsAre("50", "50", "50"));
}

TEST_F(TiktokUpload, LargeFilesAreCountedWithoutOverflow) {
  useSparseFile(52428799);
  network_.reply(200, published);
  network_.onWatched([](IBsProgressCallback& progress) {
    for (const long long sent : {524287LL, 524288LL, 26214400LL, 52428799LL}) tellSent(progress, sent);
    return true;
  });
  run();
  EXPECT_THAT(deliveries_.progress(), ElementsAre("1", "50", "99"));
}

TEST_F(TiktokUpload, ProgressTakesAnErrorThatStoodAway) {
  useFile(1000);
  network_.reply(200, published);
  network_.onWatched([&](IBsProgressCallback& progress) {
    request_->errorInfo()->setError(5, "x");
    return tellSent(progress, 500);
  });
  run();
  EXPECT_THAT(deliveries_.codes(), ElementsAre(0));
}

TEST_F(TiktokUpload, ProgressBeforeAFileWasMeasuredIsIgnored) {
  EXPECT_TRUE(request_->onProgress(0, 0, 0, 500));
  EXPECT_THAT(deliveries_.events(), IsEmpty());
}

TEST_F(TiktokUpload, TheStartOfTheReplyEndsNothing) {
  useFile(1);
  network_.reply(200, published);
  network_.onWatched([&](IBsProgressCallback& progress) {
    stop();
    return progress.onReplyStarted(200) && progress.onReplyStarted(500);
  });
  run();
  EXPECT_EQ(code(), 0);
}

TEST_F(TiktokUpload, AnAnswerLeavesTheMeasuredSize) {
  useFile(1000);
  network_.reply(200, published);
  network_.onWatched([&](IBsProgressCallback& progress) {
    const auto error = makeRef<BsErrorInfo>();
    NetReply reply;
    request_->parseEnvelope(info_.get(), published, error.get(), &reply);
    return tellSent(progress, 500);
  });
  run();
  EXPECT_THAT(deliveries_.progress(), ElementsAre("50"));
}

// --- Stops

TEST_F(TiktokUpload, ACancelEndsTheTransferAtTheNextCallback) {
  useFile(1000);
  network_.reply(200, published);
  network_.onWatched([&](IBsProgressCallback& progress) {
    EXPECT_TRUE(tellSent(progress, 300));
    stop();
    const bool goesOn = tellSent(progress, 400);
    EXPECT_EQ(code(), -10007);
    EXPECT_EQ(message(), "User cancelled!");
    return goesOn;
  });
  run();
  EXPECT_THAT(deliveries_.progress(), ElementsAre("30"));
  EXPECT_EQ(text("upload_stop"), "upload_error");
  EXPECT_EQ(text("upload_video_url"), "(unset)");
}

TEST_F(TiktokUpload, ACancelledTransferKeepsCodeAndTextOfTheClientsReply) {
  useFile(1000);
  network_.reply(200, published);
  network_.onWatched([&](IBsProgressCallback& progress) {
    stop();
    return tellSent(progress, 400);
  });
  run();
  EXPECT_EQ(code(), -10007);
  EXPECT_EQ(message(), "User cancelled!");
}

TEST_F(TiktokUpload, ACancelBehindTheLastQuestionLeavesAPublishedVideoFinished) {
  useFile(1000);
  network_.reply(200, published);
  network_.onWatched([&](IBsProgressCallback& progress) {
    const bool goesOn = tellSent(progress, 1000);
    stop();
    return goesOn;
  });
  run();
  EXPECT_EQ(code(), 0);
  EXPECT_EQ(text("upload_stop"), "upload_success");
  EXPECT_EQ(text("upload_video_url"), "share-9");
}

TEST_F(TiktokUpload, ACancelBeforeAnyByteWasSentEndsTheTransferToo) {
  useFile(1000);
  network_.reply(200, published);
  stop();
  network_.onWatched([](IBsProgressCallback& progress) { return tellSent(progress, 0); });
  run();
  EXPECT_EQ(code(), -10007);
  EXPECT_THAT(deliveries_.events(), IsEmpty());
}

TEST_F(TiktokUpload, TheEndOfTheManagerEndsTheTransferLikeTheUser) {
  useFile(1000);
  network_.reply(200, published);
  network_.onWatched([&](IBsProgressCallback& progress) {
    manager_.die();
    return tellSent(progress, 400);
  });
  run();
  EXPECT_EQ(code(), -10007);
}

// --- Failures

TEST_F(TiktokUpload, A200WithoutAShareIdFailsWithoutACode) {
  useFile(1);
  network_.reply(200, R"({"data":{"error_code":0}})");
  run();
  EXPECT_EQ(text("upload_stop"), "upload_error");
  EXPECT_EQ(code(), 0);
  EXPECT_EQ(message(), R"({"data":{"error_code":0}})");
  EXPECT_EQ(text("upload_video_url"), "(unset)");
}

TEST_F(TiktokUpload, AnEmptyShareIdIsNoSuccess) {
  useFile(1);
  network_.reply(200, R"({"data":{"share_id":""}})");
  run();
  EXPECT_EQ(text("upload_stop"), "upload_error");
  EXPECT_EQ(code(), 0);
}

TEST_F(TiktokUpload, TheShareIdOfAnEarlierAnswerIsForgotten) {
  useFile(1);
  network_.reply(200, published);
  network_.reply(200, R"({"data":{"error_code":0}})");
  run();
  run();
  EXPECT_EQ(text("upload_stop"), "upload_error");
}

TEST_F(TiktokUpload, AStatusOtherThan200IsNoSuccessEvenWithAShareId) {
  useFile(1);
  network_.reply(201, published);
  run();
  EXPECT_EQ(text("upload_stop"), "upload_error");
  EXPECT_EQ(text("upload_video_url"), "(unset)");
  EXPECT_EQ(code(), 0);
}

TEST_F(TiktokUpload, TheServicesErrorIsReported) {
  useFile(1);
  network_.reply(200, R"({"data":{"error_code":10008,"error_msg":"token expired"}})");
  run();
  EXPECT_EQ(code(), 10008);
  EXPECT_EQ(message(), "token expired");
  EXPECT_EQ(text("upload_stop"), "upload_error");
}

TEST_F(TiktokUpload, AnAnswerThatIsNoJsonFailsWithoutACode) {
  useFile(1);
  network_.reply(200, "oops");
  run();
  EXPECT_EQ(code(), 0);
  EXPECT_EQ(message(), "can't read json. response:oops");
  EXPECT_EQ(text("upload_stop"), "upload_error");
}

TEST_F(TiktokUpload, AFailureStatusIsReportedAndNotTriedAgain) {
  useFile(1);
  network_.reply(503, "later");
  run();
  EXPECT_EQ(code(), 503);
  EXPECT_EQ(message(), "later");
  EXPECT_EQ(text("upload_stop"), "upload_error");
  EXPECT_THAT(network_.exchanges(), SizeIs(1));
}

TEST_F(TiktokUpload, ABrokenTransferReportsTheTransport) {
  useFile(1);
  network_.failure(56, "connection reset");
  run();
  EXPECT_EQ(code(), 200056);
  EXPECT_EQ(message(), "connection reset");
  EXPECT_EQ(text("upload_stop"), "upload_error");
  EXPECT_THAT(network_.exchanges(), SizeIs(1));
}
}  // namespace
