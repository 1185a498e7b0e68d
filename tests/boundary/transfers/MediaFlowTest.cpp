// Whole lists and downloads through the exports of the shared library, against the sandbox.
#include "sandbox/Sandbox.h"
#include "sandbox/base/MediaAccounts.h"
#include "sandbox/base/Sha256.h"
#include "sandbox/services/media/MediaLibrary.h"
#include "support/MediaHost.h"
#include "support/TemporaryDirectory.h"
#include "support/ToldErrors.h"
#include "support/WaitUntil.h"
#include <BsCloudConfig/BsCloudConfig.h>
#include <ExternlMediaTransfer/ExternlMediaTransfer.h>
#include <ExternlMediaTransfer/TransferNumbers.h>
#include <KblUtils/RefPtr.h>

#include <gmock/gmock.h>

#include <algorithm>
#include <map>

using sandbox::Fault;
using sandbox::MediaLibrary;
using sandbox::Route;
using testing::AllOf;
using testing::AnyOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;
using Error = MediaHost::Error;
using Media = MediaHost::Media;

namespace {

const Media closing{0, "", "", 0};

class MediaFlow : public testing::Test {
 protected:
  MediaFlow() { KBL::setCloudConfig(server.cloudConfig()); }
  ~MediaFlow() override {
    KBL::clearCloudConfig();
    for (const auto& [code, message] : host.errors()) {
      EXPECT_TRUE(tableHasMediaError(code, message)) << code << " " << message;
    }
  }

  sandbox::MediaAccount account(std::size_t user) { return sandbox::mediaAccount(server.users().at(user)); }

  /// Runs one command on a transfer of its own, to its last record.
  template <class... Arguments>
  void run(MediaHost& own, const std::function<bool()>& isOver, int command, Arguments... arguments) {
    const auto transfer = KBL::adoptRef(createEMTDlTransfer());
    transfer->Command(KBL::commandSetContext, static_cast<void*>(&own));
    ASSERT_EQ(transfer->Command(command, arguments...), 0);
    transfer->Start();
    ASSERT_TRUE(waitUntil(isOver));
  }

  void albums(const std::string& token) {
    run(
        host,
        [&] { return !host.errors().empty() || (!host.albums().empty() && host.albums().back().more == 0); },
        11, token.c_str(), &MediaHost::onAlbum, &MediaHost::onError);
  }

  /// Holds once one more list than now has ended.
  std::function<bool()> untilClosing() {
    return [this, before = host.closings()] { return host.closings() > before; };
  }

  void facebook(const std::string& token, const std::string& album) {
    run(host, untilClosing(), 12, token.c_str(), album.c_str(), &MediaHost::onMedia, &MediaHost::onError);
  }

  void flickr(const std::string& pair, const std::string& key = sandbox::flickrApplicationKey,
              const std::string& secret = sandbox::flickrApplicationSecret) {
    run(host, untilClosing(), 13, key.c_str(), secret.c_str(), pair.c_str(), &MediaHost::onMedia,
        &MediaHost::onError);
  }

  void instagram(const std::string& token) {
    run(host, untilClosing(), 14, token.c_str(), &MediaHost::onMedia, &MediaHost::onError);
  }

  void download(const std::string& url, const std::string& path) {
    MediaHost own;
    run(
        own, [&] { return own.waitForFinish(); }, 10, url.c_str(), path.c_str(), &MediaHost::onError,
        &MediaHost::onProgress);
  }

  sandbox::Sandbox server;
  TemporaryDirectory directory;
  MediaHost host;
};

std::string sha256(const std::string& bytes) {
  sandbox::Sha256 hash;
  hash.add(bytes.data(), bytes.size());
  return hash.hex();
}

}  // namespace

TEST_F(MediaFlow, ListsTheAlbumsOfEveryUser) {
  const std::size_t counts[] = {57, 3, 0};
  for (std::size_t user = 0; user < 3; ++user) {
    MediaHost own;
    const auto isOver = [&] { return own.waitForClosingAlbum(); };
    const std::string token = account(user).facebookToken;
    run(own, isOver, 11, token.c_str(), &MediaHost::onAlbum, &MediaHost::onError);
    ASSERT_THAT(own.albums(), SizeIs(counts[user] + 1)) << user;
    EXPECT_EQ(own.albums().back(), (MediaHost::Album{"FACEBOOK_VIDEO", "VIDEOS", 0}));
    EXPECT_THAT(own.errors(), IsEmpty());
  }
  EXPECT_EQ(server.requestCount(Route::facebookAlbums), 4U);
}

TEST_F(MediaFlow, ListsAlbumNamesInAnyScript) {
  albums(account(0).facebookToken);
  EXPECT_EQ(host.albums().at(2).name, "Z\xC3\xBCrich");
  EXPECT_EQ(host.albums().at(3).name, "\xE6\x9E\x97");
}

TEST_F(MediaFlow, ListsAnAlbumOverItsPagesWithTheLargestPictures) {
  facebook(account(0).facebookToken, MediaLibrary::albumId(0, 0));
  ASSERT_THAT(host.media(), SizeIs(138));
  EXPECT_THAT(host.media().front().url, AllOf(StartsWith(server.baseUrl()), EndsWith("_960x720.jpg")));
  EXPECT_THAT(host.media().front().thumbnail, EndsWith("_160x120.jpg"));
  EXPECT_THAT(host.media().at(1).url, EndsWith("_720x960.jpg"));
  EXPECT_EQ(host.media().back(), closing);
  EXPECT_EQ(server.requestCount(Route::facebookObject), 6U);
}

TEST_F(MediaFlow, ListsTheVideosOfAUser) {
  facebook(account(0).facebookToken, "FACEBOOK_VIDEO");
  ASSERT_THAT(host.media(), SizeIs(15));
  for (std::size_t place = 0; place < 14; ++place) {
    const Media video = host.media().at(place);
    EXPECT_EQ(video.type, 1);
    EXPECT_THAT(video.url, EndsWith(".mp4"));
    // Every second video's own object has no source, so that both addresses are the post's.
    EXPECT_THAT(video.thumbnail, EndsWith(place % 2 == 0 ? "_320x180.jpg" : "_130x73.jpg"));
  }
  EXPECT_THAT(host.errors(), IsEmpty());
}

TEST_F(MediaFlow, ReportsFacebooksOwnErrors) {
  albums("wrong");
  facebook("wrong", "1");
  facebook(account(0).facebookToken, "12345");
  EXPECT_THAT(
      host.errors(),
      ElementsAre(Error{190, "Invalid OAuth access token."}, Error{190, "Invalid OAuth access token."},
                  Error{100, "Unsupported get request. Object with this ID does not exist."}));
}

TEST_F(MediaFlow, ListsFlickrUnderBothSignatures) {
  flickr(account(0).flickrPair);
  const auto oauth = host.media();
  ASSERT_THAT(oauth, SizeIs(138));
  EXPECT_THAT(host.errors(), IsEmpty());

  MediaHost other;
  const std::string token = account(0).flickrToken;
  run(
      other, [&] { return other.waitForClosingMedia(); }, 13, sandbox::flickrApplicationKey,
      sandbox::flickrApplicationSecret, token.c_str(), &MediaHost::onMedia, &MediaHost::onError);
  EXPECT_EQ(other.media(), oauth);
  EXPECT_EQ(server.requestCount(Route::flickrPhotos), 6U);
}

TEST_F(MediaFlow, GivesFlickrPhotosWithoutAnOriginalAnEmptyAddress) {
  flickr(account(0).flickrPair);
  const std::vector<Media> media = host.media();
  const auto hasNoAddress = [](const Media& entry) { return entry.more == 1 && entry.url.empty(); };
  EXPECT_EQ(std::count_if(media.begin(), media.end(), hasNoAddress), 13);
}

TEST_F(MediaFlow, ReportsFlickrsOwnErrors) {
  flickr(account(0).flickrPair, "wrong");
  flickr(account(0).flickrPair, sandbox::flickrApplicationKey, "wrong");
  flickr(account(0).flickrToken, sandbox::flickrApplicationKey, "wrong");
  flickr("unknown|secret");
  flickr("|unknown");
  EXPECT_THAT(host.errors(), ElementsAre(Error{100, "Invalid API Key (Key has invalid format)"},
                                         Error{96, "Invalid signature"}, Error{96, "Invalid signature"},
                                         Error{98, "Invalid auth token"}, Error{98, "Invalid auth token"}));
}

TEST_F(MediaFlow, ListsInstagramWithVideos) {
  instagram(account(0).instagramToken);
  ASSERT_THAT(host.media(), SizeIs(76));
  EXPECT_EQ(host.media().at(0).type, 0);
  EXPECT_THAT(host.media().at(0).url, EndsWith("_640x640.jpg"));
  EXPECT_EQ(host.media().at(4).type, 1);
  EXPECT_THAT(host.media().at(4).url, EndsWith(".mp4"));
  EXPECT_THAT(host.media().at(4).thumbnail, EndsWith("_150x150.jpg"));
  EXPECT_EQ(server.requestCount(Route::instagramMedia), 3U);
}

TEST_F(MediaFlow, ReportsInstagramsOwnErrors) {
  instagram("wrong");
  EXPECT_THAT(host.errors(), ElementsAre(Error{400, "The access_token provided is invalid."}));
}

TEST_F(MediaFlow, DownloadsEveryListedKindOfFile) {
  facebook(account(1).facebookToken, "FACEBOOK_VIDEO");
  flickr(account(1).flickrPair);
  std::vector<std::string> urls;
  for (const Media& media : host.media()) {
    if (media.more == 0) continue;
    if (!media.url.empty()) urls.push_back(media.url);
    urls.push_back(media.thumbnail);
  }
  ASSERT_GE(urls.size(), 20U);
  for (const std::string& url : urls) {
    download(url, directory.file("file"));
    const std::string bytes = directory.read("file");
    EXPECT_TRUE(bytes.starts_with("\xFF\xD8\xFF\xE0") || bytes.substr(4, 4) == "ftyp") << url;
  }
}

TEST_F(MediaFlow, DownloadsTheBytesThatTheSandboxDescribes) {
  facebook(account(0).facebookToken, MediaLibrary::albumId(0, 0));
  const std::string url = host.media().front().url;
  const std::string name = url.substr(url.rfind('/') + 1);
  download(url, directory.file("picture.jpg"));
  download(server.baseUrl() + "/sandbox/media/" + name, directory.file("description"));
  EXPECT_THAT(directory.read("description"), testing::HasSubstr(sha256(directory.read("picture.jpg"))));
}

// What goes wrong on the way.

TEST_F(MediaFlow, ReportsAPageThatIsResetOnItsWay) {
  const auto fault = server.orderFault(Route::flickrPhotos, Fault::resetAnswerAfter(500), 2);
  flickr(account(0).flickrPair);
  EXPECT_THAT(host.media(), SizeIs(51));
  const Error reset{10, "Failure when receiving data from the peer"};
#if defined(_WIN32)
  // Under wine a connection that is reset is one that ends.
  EXPECT_THAT(host.errors(), ElementsAre(AnyOf(reset, Error{10, "Transferred a partial file"})));
#else
  EXPECT_THAT(host.errors(), ElementsAre(reset));
#endif
  EXPECT_EQ(server.faultsDelivered(fault), 1U);
}

TEST_F(MediaFlow, ReportsBrokenAndEndlesslyNestedJson) {
  server.orderFault(Route::instagramMedia, Fault::brokenJson(), 1);
  server.orderFault(Route::instagramMedia, Fault::deepNesting(200000), 2);
  instagram(account(0).instagramToken);
  instagram(account(0).instagramToken);
  EXPECT_THAT(host.errors(), ElementsAre(Error{11, "can't read json."}, Error{11, "can't read json."}));
  EXPECT_EQ(server.faultsDelivered(), 2U);
}

TEST_F(MediaFlow, ReportsAPageThatOutgrowsItsLimit) {
  server.orderFault(Route::facebookAlbums, Fault::gzipBomb(std::uint64_t{200} << 20));
  albums(account(0).facebookToken);
  EXPECT_THAT(host.errors(), ElementsAre(Error{10, "Failed writing received data to disk/application"}));
  EXPECT_EQ(server.faultsDelivered(), 1U);
}

TEST_F(MediaFlow, ReportsMembersOfAWrongType) {
  server.orderFault(Route::flickrPhotos, Fault::replaceMember("photos.photo", "\"none\""));
  flickr(account(0).flickrPair);
  EXPECT_THAT(host.errors(), ElementsAre(Error{11, "can't find photo node."}));
  EXPECT_EQ(server.faultsDelivered(), 1U);
}

TEST_F(MediaFlow, TakesASlowlyArrivingPageToItsEnd) {
  server.orderFault(Route::instagramMedia, Fault::trickle(400, std::chrono::milliseconds(1)));
  instagram(account(0).instagramToken);
  EXPECT_THAT(host.media(), SizeIs(76));
  EXPECT_EQ(server.faultsDelivered(), 1U);
}

TEST_F(MediaFlow, StopsAtOnceWhileAPageStalls) {
  const auto fault = server.orderFault(Route::facebookAlbums, Fault::stall());
  const auto transfer = KBL::adoptRef(createEMTDlTransfer());
  transfer->Command(KBL::commandSetContext, static_cast<void*>(&host));
  const std::string token = account(0).facebookToken;
  transfer->Command(KBL::commandListFacebookAlbums, token.c_str(), &MediaHost::onAlbum, &MediaHost::onError);
  transfer->Start();
  ASSERT_TRUE(server.waitForFaults(fault, 1, generousLimit));
  EXPECT_EQ(transfer->Stop(), 0);
  EXPECT_EQ(host.calls(), 0U);
}

#if !defined(_WIN32)  // wine knows no unknown authority where none is named, and lists have the system's
TEST(MediaFlowTls, TrustsNoUnknownAuthority) {
  sandbox::SandboxOptions options;
  options.tls = true;
  const sandbox::Sandbox server(options);
  KBL::setCloudConfig(server.cloudConfig());
  MediaHost host;
  const auto transfer = KBL::adoptRef(createEMTDlTransfer());
  transfer->Command(KBL::commandSetContext, static_cast<void*>(&host));
  transfer->Command(KBL::commandListInstagramMedia, "instagram-token-ada", &MediaHost::onMedia,
                    &MediaHost::onError);
  transfer->Start();
  ASSERT_TRUE(host.waitForClosingMedia());
  EXPECT_THAT(host.errors(), ElementsAre(Error{10, "SSL peer certificate or SSH remote key was not OK"}));
  EXPECT_THAT(host.media(), ElementsAre(closing));
  KBL::clearCloudConfig();
}
#endif
