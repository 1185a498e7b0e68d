#include "boundary/ExternlMediaTransfer.h"
#include "foundation/object/RefPtr.h"
#include "media_tasks/MediaHost.h"
#include "media_tasks/PageServer.h"
#include "support/TemporaryDirectory.h"
#include "support/WaitUntil.h"

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

using Transfer = KBL::RefPtr<IExternlMediaTransfer>;

constexpr const char* noText = nullptr;

class DownloadTransfer : public testing::Test {
 protected:
  DownloadTransfer() { transfer->Command(15, static_cast<void*>(&host)); }

  std::int32_t commandAlbums(const char* token = "TOKEN") {
    return transfer->Command(11, token, &MediaHost::onAlbum, &MediaHost::onError);
  }

  PageServer server;
  ScopedMediaHosts hosts{server};
  TemporaryDirectory directory;
  MediaHost host;
  Transfer transfer = KBL::adoptRef(createEMTDlTransfer());
};

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
  EXPECT_EQ(transfer->Query(15, &context), 5);
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
  EXPECT_EQ(transfer->Query(15, &context), 5);
  EXPECT_EQ(context, &host);
}

TEST_F(DownloadTransfer, QueryRefusesANullPointer) {
  EXPECT_EQ(transfer->Query(15, static_cast<void**>(nullptr)), 2);
}

TEST_F(DownloadTransfer, RefusesEveryRequiredNullArgument) {
  const auto media = &MediaHost::onMedia;
  const auto error = &MediaHost::onError;
  EXPECT_EQ(transfer->Command(10, noText, "path", error, &MediaHost::onProgress), 2);
  EXPECT_EQ(transfer->Command(10, "url", noText, error, &MediaHost::onProgress), 2);
  EXPECT_EQ(commandAlbums(noText), 2);
  EXPECT_EQ(transfer->Command(12, noText, "album", media, error), 2);
  EXPECT_EQ(transfer->Command(12, "token", noText, media, error), 2);
  EXPECT_EQ(transfer->Command(13, noText, "secret", "pair", media, error), 2);
  EXPECT_EQ(transfer->Command(13, "key", noText, "pair", media, error), 2);
  EXPECT_EQ(transfer->Command(13, "key", "secret", noText, media, error), 2);
  EXPECT_EQ(transfer->Command(14, noText, media, error), 2);
}

TEST_F(DownloadTransfer, TakesCommandsWithoutCallbacks) {
  const KBL::AlbumCallback noAlbum = nullptr;
  const KBL::MediaCallback noMedia = nullptr;
  const KBL::MediaErrorCallback noError = nullptr;
  const KBL::MediaProgressCallback noProgress = nullptr;
  EXPECT_EQ(transfer->Command(10, "url", "path", noError, noProgress), 0);
  EXPECT_EQ(transfer->Command(11, "token", noAlbum, noError), 0);
  EXPECT_EQ(transfer->Command(12, "token", "album", noMedia, noError), 0);
  EXPECT_EQ(transfer->Command(13, "key", "secret", "", noMedia, noError), 0);
  EXPECT_EQ(transfer->Command(14, "token", noMedia, noError), 0);
  EXPECT_EQ(transfer->Command(15, static_cast<void*>(nullptr)), 0);
}

TEST_F(DownloadTransfer, Command10Downloads) {
  server.answerAlways("picture");
  ASSERT_EQ(transfer->Command(10, (server.url() + "/p").c_str(), directory.file("p").c_str(),
                              &MediaHost::onError, &MediaHost::onProgress),
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
  ASSERT_EQ(transfer->Command(12, "TOKEN", "77", &MediaHost::onMedia, &MediaHost::onError), 0);
  transfer->Start();
  ASSERT_TRUE(host.waitForClosingMedia());
  EXPECT_THAT(server.targets().at(0), testing::HasSubstr("/77/photos?"));
  EXPECT_EQ(host.media().front(), (Media{0, "s", "p", 1}));
}

TEST_F(DownloadTransfer, Command13ListsFlickr) {
  server.answerAlways(R"({"stat":"ok","photos":{"page":1,"pages":1,"photo":[{"url_o":"o"}]}})");
  ASSERT_EQ(transfer->Command(13, "KEY", "SECRET", "T|S", &MediaHost::onMedia, &MediaHost::onError), 0);
  transfer->Start();
  ASSERT_TRUE(host.waitForClosingMedia());
  EXPECT_THAT(server.targets().at(0), testing::HasSubstr("oauth_consumer_key=KEY"));
  EXPECT_EQ(host.media().front().url, "o");
}

TEST_F(DownloadTransfer, Command14ListsInstagram) {
  server.answerAlways(R"({"meta":{"code":200},"data":[{"images":{"standard_resolution":{"url":"i"}}}]})");
  ASSERT_EQ(transfer->Command(14, "TOKEN", &MediaHost::onMedia, &MediaHost::onError), 0);
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
  transfer->Command(15, static_cast<void*>(&other));
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
    transfer->Command(15, static_cast<void*>(&second));
    transfer->Command(11, "SECOND", &MediaHost::onAlbum, &MediaHost::onError);
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

TEST_F(DownloadTransfer, StopWaitsForTheCallbackOfAnEarlierTaskToo) {
  server.answerAlways(R"({"data":[{"id":"1"}]})");
  std::atomic<bool> hasCommand{false};
  std::atomic<bool> hasStopped{false};
  std::atomic<bool> hasEnded{false};
  host.itemResult = [&](std::size_t) {
    transfer->Command(11, "SECOND", &MediaHost::onAlbum, &MediaHost::onError);
    hasCommand = true;
    // A Stop that does not wait comes back within this time.
    (void)waitUntil([&] { return hasStopped.load(); }, std::chrono::milliseconds(300));
    hasEnded = true;
    return 1;
  };
  commandAlbums("FIRST");
  transfer->Start();
  ASSERT_TRUE(waitUntil([&] { return hasCommand.load(); }));
  EXPECT_EQ(transfer->Stop(), 0);
  hasStopped = true;
  EXPECT_TRUE(hasEnded);
}

TEST_F(DownloadTransfer, StoppedInACallbackWaitsForNoCallbackOfAnEarlierTask) {
  server.answerAlways(R"({"data":[{"id":"1"}]})");
  MediaHost second;
  std::atomic<bool> hasStopped{false};
  std::atomic<bool> hasSeenIt{false};
  second.itemResult = [&](std::size_t) {
    transfer->Stop();
    hasStopped = true;
    return 1;
  };
  host.itemResult = [&](std::size_t) {
    transfer->Command(15, static_cast<void*>(&second));
    transfer->Command(11, "SECOND", &MediaHost::onAlbum, &MediaHost::onError);
    transfer->Start();
    hasSeenIt = waitUntil([&] { return hasStopped.load(); });
    return 1;
  };
  commandAlbums("FIRST");
  transfer->Start();
  ASSERT_TRUE(waitUntil([&] { return hasStopped.load(); }));
  transfer->Stop();
  EXPECT_TRUE(hasSeenIt);
  EXPECT_THAT(second.albums(), SizeIs(1));
}

TEST_F(DownloadTransfer, ReleasedWhileATaskRunsEndsItFirst) {
  server.answer([](const std::string&) { return PageReply{.body = R"({"data":[]})", .stallAfter = 3}; });
  commandAlbums();
  transfer->Start();
  ASSERT_TRUE(server.waitForRequests(1));
  transfer.reset();
  server.release();
  EXPECT_EQ(host.calls(), 0U);
}

TEST_F(DownloadTransfer, ReleasedForTheLastTimeInItsOwnCallbackEndsInPeace) {
  server.answerAlways(R"({"data":[{"id":"1"},{"id":"2"}]})");
  std::atomic<bool> released{false};
  IExternlMediaTransfer* const raw = transfer.leak();
  host.itemResult = [&](std::size_t) {
    released = raw->Release() == 0;
    return 1;
  };
  raw->Command(11, "TOKEN", &MediaHost::onAlbum, &MediaHost::onError);
  raw->Start();
  ASSERT_TRUE(waitUntil([&] { return released.load(); }));
  EXPECT_EQ(host.calls(), 1U);
}

TEST_F(DownloadTransfer, ReleasedInTheErrorCallbackEndsInPeace) {
  server.answerAlways("no json");
  std::atomic<bool> released{false};
  IExternlMediaTransfer* const raw = transfer.leak();
  host.onOther = [&] { released = raw->Release() == 0; };
  raw->Command(14, "TOKEN", &MediaHost::onMedia, &MediaHost::onError);
  raw->Start();
  ASSERT_TRUE(waitUntil([&] { return released.load(); }));
  EXPECT_EQ(host.calls(), 1U);
}

TEST_F(DownloadTransfer, ReleasedInTheProgressCallbackEndsInPeace) {
  server.answerInOrder({PageReply{.body = std::string(1000, 'x'), .stallAfter = 400}});
  std::atomic<bool> released{false};
  IExternlMediaTransfer* const raw = transfer.leak();
  host.onOther = [&] { released = raw->Release() == 0; };
  raw->Command(10, server.url().c_str(), directory.file("f").c_str(), &MediaHost::onError,
               &MediaHost::onProgress);
  raw->Start();
  ASSERT_TRUE(waitUntil([&] { return released.load(); }));
  EXPECT_EQ(host.calls(), 1U);
}

TEST_F(DownloadTransfer, KeepsEarlierTasksUntilItsEnd) {
  server.answerAlways(R"({"data":[]})");
  for (int round = 0; round < 50; ++round) {
    ASSERT_EQ(commandAlbums(), 0);
    transfer->Start();
  }
  ASSERT_TRUE(host.waitForClosingAlbum());
}

TEST_F(DownloadTransfer, SurvivesStartsAndStopsAtEveryMoment) {
  server.answer([](const std::string&) { return PageReply{.endless = true}; });
  for (int round = 0; round < 100; ++round) {
    transfer->Command(10, server.url().c_str(), directory.file("f").c_str(), &MediaHost::onError,
                      &MediaHost::onProgress);
    transfer->Start();
    if (round % 3 == 0) std::this_thread::yield();
    transfer->Stop();
  }
  EXPECT_THAT(host.errors(), IsEmpty());
}
