// Typed listings and downloads over the exports of the shared library, against the sandbox.
#include "sandbox/Sandbox.h"
#include "sandbox/base/MediaAccounts.h"
#include "support/Flag.h"
#include "support/TemporaryDirectory.h"
#include "support/WaitUntil.h"
#include <BsCloudConfig/BsCloudConfig.h>
#include <ExternlMediaTransfer/host/Media.h>

#include <gmock/gmock.h>

#include <stdexcept>

using namespace std::chrono_literals;
using KBL::host::Album;
using KBL::host::EventQueue;
using KBL::host::Media;
using KBL::host::MediaEnd;
using KBL::host::MediaItem;
using sandbox::Fault;
using sandbox::Route;
using testing::Each;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;

namespace {

class TypedMedia : public testing::Test {
 protected:
  TypedMedia() { KBL::setCloudConfig(server_.cloudConfig()); }
  ~TypedMedia() override { KBL::clearCloudConfig(); }

  static MediaEnd endOf(const KBL::host::Eventual<MediaEnd>& eventual) {
    return eventual.waitFor(generousLimit).value_or(MediaEnd{MediaEnd::How::failed, {1, "nothing came"}});
  }
  Media::OnItem keepItems() {
    return [this](const MediaItem& item) { items_.push_back(item); };
  }
  /// The address of a picture, as a listing brings it.
  std::string pictureAddress() {
    Media media;
    EXPECT_TRUE(endOf(media.listInstagram(account_.instagramToken, keepItems())).isGood());
    EXPECT_THAT(items_, Not(IsEmpty()));
    return items_.empty() ? std::string() : items_.front().address;
  }

  const sandbox::MediaAccount account_ = sandbox::firstMediaAccount();
  sandbox::Sandbox server_;
  TemporaryDirectory files_;
  std::vector<MediaItem> items_;
};

TEST_F(TypedMedia, ListsFlickr) {
  Media media;
  const MediaEnd end = endOf(media.listFlickr(sandbox::flickrApplicationKey, sandbox::flickrApplicationSecret,
                                              account_.flickrPair, keepItems()));
  EXPECT_TRUE(end.isGood()) << end.failure.message;
  EXPECT_EQ(end.httpStatus, 200);
  EXPECT_THAT(items_, SizeIs(137));
  EXPECT_EQ(items_.front().type, KBL::mediaImage);
  EXPECT_THAT(items_.front().address, StartsWith("http"));
  EXPECT_THAT(items_.front().thumbnail, StartsWith("http"));
}

TEST_F(TypedMedia, ListsAlbumsAndWhatIsInThem) {
  Media media;
  std::vector<Album> albums;
  ASSERT_TRUE(endOf(media.listFacebookAlbums(account_.facebookToken, [&](const Album& one) {
                albums.push_back(one);
              })).isGood());
  ASSERT_GE(albums.size(), 2U);
  EXPECT_EQ(albums.back().id, KBL::facebookVideoAlbum);
  EXPECT_THAT(albums.front().name, Not(IsEmpty()));
  EXPECT_TRUE(
      endOf(media.listFacebookMedia(account_.facebookToken, albums.front().id, keepItems())).isGood());
  EXPECT_THAT(items_, Not(IsEmpty()));
}

TEST_F(TypedMedia, AListWithoutAlbumsIsGoodAndEmpty) {
  const auto fault = server_.orderFault(Route::facebookAlbums, Fault::body("{}"));
  Media media;
  int albums = 0;
  EXPECT_TRUE(
      endOf(media.listFacebookAlbums(account_.facebookToken, [&](const Album&) { ++albums; })).isGood());
  EXPECT_EQ(albums, 0);
  EXPECT_EQ(server_.faultsDelivered(fault), 1U);
}

TEST_F(TypedMedia, OfAStrangerEndsWithTheServicesError) {
  Media media;
  const MediaEnd end = endOf(media.listInstagram("nobody", keepItems()));
  EXPECT_EQ(end.how, MediaEnd::How::failed);
  EXPECT_TRUE(static_cast<bool>(end.failure));
  EXPECT_THAT(end.failure.message, Not(IsEmpty()));
  EXPECT_THAT(items_, IsEmpty());
  EXPECT_EQ(endOf(media.listFacebookAlbums("nobody", {})).how, MediaEnd::How::failed);
}

TEST_F(TypedMedia, DownloadsAFile) {
  const std::string address = pictureAddress();
  Media media;
  std::vector<std::int32_t> bytes;
  const MediaEnd end = endOf(media.download(address, files_.file("picture"),
                                            [&](std::int32_t now, std::int32_t) { bytes.push_back(now); }));
  EXPECT_TRUE(end.isGood()) << end.failure.message;
  EXPECT_EQ(end.httpStatus, 200);
  const std::string picture = files_.read("picture");
  EXPECT_THAT(picture, Not(IsEmpty()));
  ASSERT_THAT(bytes, Not(IsEmpty()));
  EXPECT_EQ(static_cast<std::size_t>(bytes.back()), picture.size());
}

TEST_F(TypedMedia, KeepsThePageOfAnErrorOnlyWhenTold) {
  const std::string address = server_.baseUrl() + "/no/such/place";
  Media media;
  const MediaEnd refused = endOf(media.download(address, files_.file("page")));
  EXPECT_EQ(refused.how, MediaEnd::How::failed);
  EXPECT_EQ(refused.httpStatus, 404);
  EXPECT_FALSE(std::filesystem::exists(files_.path() / "page"));
  media.keepErrorPages(true);
  EXPECT_TRUE(endOf(media.download(address, files_.file("page"))).isGood());
  EXPECT_TRUE(std::filesystem::exists(files_.path() / "page"));
}

TEST_F(TypedMedia, IsStoppedByHandByTheNextJobAndByItsEnd) {
  const auto stall = server_.orderFault(Route::instagramMedia, Fault::stall(), 1, 0);
  std::optional<KBL::host::Eventual<MediaEnd>> last;
  {
    Media media;
    const auto first = media.listInstagram(account_.instagramToken, keepItems());
    ASSERT_TRUE(server_.waitForFaults(stall, 1, generousLimit));
    EXPECT_FALSE(first.get());
    media.stop();
    EXPECT_EQ(first.get()->how, MediaEnd::How::stopped);
    const auto second = media.listInstagram(account_.instagramToken, keepItems());
    last = media.listInstagram(account_.instagramToken, keepItems());
    EXPECT_EQ(second.get()->how, MediaEnd::How::stopped);
  }
  EXPECT_EQ(last->get()->how, MediaEnd::How::stopped);
  EXPECT_THAT(items_, IsEmpty());
}

TEST_F(TypedMedia, TellsEverythingOnTheThreadOfTheQueueAheadOfTheEnd) {
  EventQueue queue;
  Media media(queue.executor());
  std::vector<std::thread::id> threads;
  std::optional<std::size_t> itemsAtTheEnd;
  media
      .listInstagram(account_.instagramToken,
                     [&](const MediaItem& item) {
                       items_.push_back(item);
                       threads.push_back(std::this_thread::get_id());
                     })
      .then([&](const MediaEnd&) { itemsAtTheEnd = items_.size(); });
  ASSERT_TRUE(waitUntil([&] {
    queue.runFor(10ms);
    return itemsAtTheEnd.has_value();
  }));
  EXPECT_EQ(*itemsAtTheEnd, items_.size());
  EXPECT_THAT(items_, Not(IsEmpty()));
  EXPECT_THAT(threads, Each(std::this_thread::get_id()));
}

TEST_F(TypedMedia, QueuedCallsOfAStoppedJobAreDropped) {
  EventQueue queue;
  Media media(queue.executor());
  const auto end = media.listInstagram(account_.instagramToken, keepItems());
  ASSERT_TRUE(end.waitFor(generousLimit));
  media.stop();
  queue.run();
  EXPECT_THAT(items_, IsEmpty());
}

TEST_F(TypedMedia, SurvivesAFunctionThatThrows) {
  Media media;
  const auto end =
      media.listInstagram(account_.instagramToken, [](const MediaItem&) { throw std::runtime_error("no"); });
  EXPECT_TRUE(endOf(end).isGood());
}

TEST_F(TypedMedia, MayGoInsideTheLastCallOfADownload) {
  const std::string address = pictureAddress();
  Flag hasGone;
  auto media = std::make_unique<Media>();
  const auto end = media->download(address, files_.file("picture"), [&](std::int32_t bytes, std::int32_t) {
    if (media == nullptr || bytes == 0) return;
    media.reset();
    hasGone.raise();
  });
  ASSERT_TRUE(hasGone.wait());
  EXPECT_EQ(endOf(end).how, MediaEnd::How::stopped);
}

TEST_F(TypedMedia, MayGoInsideItsOwnFunction) {
  Flag hasGone;
  auto media = std::make_unique<Media>();
  const auto end = media->listInstagram(account_.instagramToken, [&](const MediaItem&) {
    if (media == nullptr) return;
    media.reset();
    hasGone.raise();
  });
  ASSERT_TRUE(hasGone.wait());
  EXPECT_EQ(endOf(end).how, MediaEnd::How::stopped);
}

}  // namespace
