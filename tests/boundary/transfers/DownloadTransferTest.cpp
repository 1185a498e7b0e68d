#include "boundary/transfers/DownloadTransferFixture.h"
#include "support/WaitUntil.h"
#include <ExternlMediaTransfer/TransferNumbers.h>

#include <gmock/gmock.h>

#include <array>
#include <atomic>

using KBL::IExternlMediaTransfer;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using Album = MediaHost::Album;
using Error = MediaHost::Error;
using Media = MediaHost::Media;

namespace {

constexpr const char* noText = nullptr;

using DownloadTransfer = DownloadTransferTest;

}  // namespace

TEST(CreateDownloadTransfer, GivesOneReference) {
  IExternlMediaTransfer* const transfer = createEMTDlTransfer();
  ASSERT_NE(transfer, nullptr);
  EXPECT_EQ(transfer->AddRef(), 2);
  EXPECT_EQ(transfer->Release(), 1);
  EXPECT_EQ(transfer->Release(), 0);
}

TEST(CreateDownloadTransfer, AnswersToItsInterfaceName) {
  const Transfer transfer = KBL::adoptRef(createEMTDlTransfer());
  EXPECT_EQ(transfer->QueryInterfaceByName("IExternlMediaTransfer"), transfer.get());
  EXPECT_EQ(transfer->QueryInterfaceByName("IDmBaseObj"), nullptr);
  EXPECT_EQ(transfer->QueryInterfaceByName(nullptr), nullptr);
}

TEST(CreateDownloadTransfer, HasNoTaskAndAZeroContext) {
  const Transfer transfer = KBL::adoptRef(createEMTDlTransfer());
  void* context = &context;
  EXPECT_EQ(transfer->Query(KBL::queryContext, &context), 5);
  EXPECT_EQ(context, nullptr);
  EXPECT_EQ(transfer->Start(), 4);
  EXPECT_EQ(transfer->Stop(), 0);
}

TEST_F(DownloadTransfer, KnowsNoCommandOutside10To15) {
  for (const int command : {-1, 0, 1, 9, 16, 1000})
    EXPECT_EQ(transfer->Command(command, noText), 5) << command;
}

TEST_F(DownloadTransfer, KnowsNoQueryBut15) {
  for (const int command : {0, 3, 4, 7, 10, 14, 16})
    EXPECT_EQ(transfer->Query(command, noText), 5) << command;
}

TEST_F(DownloadTransfer, QueryWritesTheContextAndGives5) {
  void* context = nullptr;
  EXPECT_EQ(transfer->Query(KBL::queryContext, &context), 5);
  EXPECT_EQ(context, &host);
}

TEST_F(DownloadTransfer, QueryRefusesANullPointer) {
  EXPECT_EQ(transfer->Query(KBL::queryContext, static_cast<void**>(nullptr)), 2);
}

TEST_F(DownloadTransfer, RefusesEveryRequiredNullArgument) {
  const auto media = &MediaHost::onMedia;
  const auto error = &MediaHost::onError;
  EXPECT_EQ(transfer->Command(KBL::commandDownloadFile, noText, "path", error, &MediaHost::onProgress), 2);
  EXPECT_EQ(transfer->Command(KBL::commandDownloadFile, "url", noText, error, &MediaHost::onProgress), 2);
  EXPECT_EQ(commandAlbums(noText), 2);
  EXPECT_EQ(transfer->Command(KBL::commandListFacebookMedia, noText, "album", media, error), 2);
  EXPECT_EQ(transfer->Command(KBL::commandListFacebookMedia, "token", noText, media, error), 2);
  EXPECT_EQ(transfer->Command(KBL::commandListFlickrMedia, noText, "secret", "pair", media, error), 2);
  EXPECT_EQ(transfer->Command(KBL::commandListFlickrMedia, "key", noText, "pair", media, error), 2);
  EXPECT_EQ(transfer->Command(KBL::commandListFlickrMedia, "key", "secret", noText, media, error), 2);
  EXPECT_EQ(transfer->Command(KBL::commandListInstagramMedia, noText, media, error), 2);
}

TEST_F(DownloadTransfer, TakesCommandsWithoutCallbacks) {
  const KBL::AlbumCallback noAlbum = nullptr;
  const KBL::MediaCallback noMedia = nullptr;
  const KBL::MediaErrorCallback noError = nullptr;
  const KBL::MediaProgressCallback noProgress = nullptr;
  EXPECT_EQ(transfer->Command(KBL::commandDownloadFile, "url", "path", noError, noProgress), 0);
  EXPECT_EQ(transfer->Command(KBL::commandListFacebookAlbums, "token", noAlbum, noError), 0);
  EXPECT_EQ(transfer->Command(KBL::commandListFacebookMedia, "token", "album", noMedia, noError), 0);
  EXPECT_EQ(transfer->Command(KBL::commandListFlickrMedia, "key", "secret", "", noMedia, noError), 0);
  EXPECT_EQ(transfer->Command(KBL::commandListInstagramMedia, "token", noMedia, noError), 0);
  EXPECT_EQ(transfer->Command(KBL::commandSetContext, static_cast<void*>(nullptr)), 0);
}

TEST_F(DownloadTransfer, Command10Downloads) {
  server.answerAlways("picture");
  ASSERT_EQ(transfer->Command(KBL::commandDownloadFile, (server.url() + "/p").c_str(),
                              directory.file("p").c_str(), &MediaHost::onError, &MediaHost::onProgress),
            0);
  EXPECT_EQ(transfer->Start(), 4);
  ASSERT_TRUE(host.waitForFinish());
  EXPECT_EQ(directory.read("p"), "picture");
}

TEST_F(DownloadTransfer, Command11ListsAlbums) {
  server.answerAlways(R"({"data":[{"id":"1","name":"One"}]})");
  ASSERT_EQ(commandAlbums(), 0);
  EXPECT_EQ(transfer->Start(), 4);
  ASSERT_TRUE(host.waitForClosingAlbum());
  EXPECT_THAT(host.albums(), ElementsAre(Album{"1", "One", 1}, Album{"FACEBOOK_VIDEO", "VIDEOS", 0}));
  EXPECT_THAT(host.transfers(), ElementsAre(transfer.get()));
  EXPECT_EQ(host.threads().count(std::this_thread::get_id()), 0U);
}

TEST_F(DownloadTransfer, Command12ListsAnAlbum) {
  server.answerAlways(R"({"data":[{"source":"s","picture":"p"}]})");
  ASSERT_EQ(transfer->Command(KBL::commandListFacebookMedia, "TOKEN", "77", &MediaHost::onMedia,
                              &MediaHost::onError),
            0);
  transfer->Start();
  ASSERT_TRUE(host.waitForClosingMedia());
  EXPECT_THAT(server.targets().at(0), testing::HasSubstr("/77/photos?"));
  EXPECT_EQ(host.media().front(), (Media{0, "s", "p", 1}));
}

TEST_F(DownloadTransfer, Command13ListsFlickr) {
  server.answerAlways(R"({"stat":"ok","photos":{"page":1,"pages":1,"photo":[{"url_o":"o"}]}})");
  ASSERT_EQ(transfer->Command(KBL::commandListFlickrMedia, "KEY", "SECRET", "T|S", &MediaHost::onMedia,
                              &MediaHost::onError),
            0);
  transfer->Start();
  ASSERT_TRUE(host.waitForClosingMedia());
  EXPECT_THAT(server.targets().at(0), testing::HasSubstr("oauth_consumer_key=KEY"));
  EXPECT_EQ(host.media().front().url, "o");
}

TEST_F(DownloadTransfer, Command14ListsInstagram) {
  server.answerAlways(R"({"meta":{"code":200},"data":[{"images":{"standard_resolution":{"url":"i"}}}]})");
  ASSERT_EQ(
      transfer->Command(KBL::commandListInstagramMedia, "TOKEN", &MediaHost::onMedia, &MediaHost::onError),
      0);
  transfer->Start();
  ASSERT_TRUE(host.waitForClosingMedia());
  EXPECT_THAT(server.targets().at(0), testing::HasSubstr("/v1/users/self/media/recent/"));
  EXPECT_EQ(host.media().front().url, "i");
}

TEST_F(DownloadTransfer, StartedTwiceListsOnce) {
  server.answerAlways(R"({"data":[]})");
  commandAlbums();
  transfer->Start();
  ASSERT_TRUE(host.waitForClosingAlbum());
  EXPECT_EQ(transfer->Start(), 4);
  EXPECT_EQ(transfer->Stop(), 0);
  EXPECT_EQ(transfer->Start(), 4);
  transfer->Stop();
  EXPECT_THAT(host.albums(), SizeIs(1));
}

TEST_F(DownloadTransfer, Command15ReachesTheTaskThatIsThere) {
  MediaHost other;
  server.answerAlways(R"({"data":[]})");
  commandAlbums();
  transfer->Command(KBL::commandSetContext, static_cast<void*>(&other));
  transfer->Start();
  ASSERT_TRUE(other.waitForClosingAlbum());
  EXPECT_EQ(host.calls(), 0U);
}

TEST_F(DownloadTransfer, ANewCommandStopsTheTaskThatRuns) {
  server.answer([](const std::string& target) {
    if (target.find("access_token=FIRST") != std::string::npos) {
      return PageReply{.body = std::string(100, 'x'), .stallAfter = 10};
    }
    return PageReply{.body = R"({"data":[]})"};
  });
  commandAlbums("FIRST");
  transfer->Start();
  ASSERT_TRUE(server.waitForRequests(1));
  EXPECT_EQ(commandAlbums("SECOND"), 0);
  EXPECT_EQ(host.calls(), 0U);
  transfer->Start();
  ASSERT_TRUE(host.waitForClosingAlbum());
  EXPECT_THAT(host.errors(), IsEmpty());
}

TEST_F(DownloadTransfer, ARefusedCommandLeavesTheTaskInPlace) {
  server.answer([](const std::string&) { return PageReply{.body = R"({"data":[]})", .stallAfter = 3}; });
  commandAlbums();
  transfer->Start();
  ASSERT_TRUE(server.waitForRequests(1));
  EXPECT_EQ(commandAlbums(noText), 2);
  server.release();
  ASSERT_TRUE(host.waitForClosingAlbum());
}

TEST_F(DownloadTransfer, IsSilentOnceStopped) {
  server.answer([](const std::string&) { return PageReply{.body = R"({"data":[]})", .stallAfter = 3}; });
  commandAlbums();
  transfer->Start();
  ASSERT_TRUE(server.waitForRequests(1));
  EXPECT_EQ(transfer->Stop(), 0);
  const std::size_t calls = host.calls();
  server.release();
  EXPECT_EQ(calls, 0U);
  EXPECT_EQ(host.calls(), 0U);
}

TEST_F(DownloadTransfer, StoppedInItsOwnCallbackReturnsAndSaysNoMore) {
  server.answerAlways(R"({"data":[{"id":"1"},{"id":"2"}]})");
  std::atomic<int> result{-1};
  host.itemResult = [&](std::size_t) {
    result = transfer->Stop();
    return 1;
  };
  commandAlbums();
  transfer->Start();
  ASSERT_TRUE(waitUntil([&] { return result == 0; }));
  transfer->Stop();
  EXPECT_THAT(host.albums(), SizeIs(1));
}

TEST_F(DownloadTransfer, GivenACommandInItsOwnCallbackRunsTheNewTask) {
  server.answerAlways(R"({"data":[{"id":"1"},{"id":"2"}]})");
  MediaHost second;
  host.itemResult = [&](std::size_t) {
    transfer->Command(KBL::commandSetContext, static_cast<void*>(&second));
    transfer->Command(KBL::commandListFacebookAlbums, "SECOND", &MediaHost::onAlbum, &MediaHost::onError);
    transfer->Start();
    return 1;
  };
  commandAlbums("FIRST");
  transfer->Start();
  ASSERT_TRUE(second.waitForClosingAlbum());
  EXPECT_EQ(transfer->Stop(), 0);
  EXPECT_THAT(host.albums(), SizeIs(1));
  EXPECT_THAT(second.albums(), SizeIs(3));
}
