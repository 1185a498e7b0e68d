#include "media_tasks/CurlCalls.h"
#include "media_tasks/FacebookGraph.h"
#include "media_tasks/MediaHost.h"
#include "media_tasks/PageServer.h"
#include "media_tasks/SNRFacebookEnumAlbumInfoTask.h"
#include "media_tasks/SNRFacebookEnumMediaInfoTask.h"
#include "support/WaitUntil.h"

#include <gmock/gmock.h>

using KBL::SNRFacebookEnumAlbumInfoTask;
using KBL::SNRFacebookEnumMediaInfoTask;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using Album = MediaHost::Album;
using Error = MediaHost::Error;
using Media = MediaHost::Media;

namespace {

const Album closingAlbum{"FACEBOOK_VIDEO", "VIDEOS", 0};
const Media closingMedia{0, "", "", 0};
constexpr const char* plain = "&format=json&method=get&pretty=0&suppress_http_code=1";

class FacebookTest : public testing::Test {
 protected:
  /// Runs the job on this thread, to its end.
  void listAlbums() {
    SNRFacebookEnumAlbumInfoTask task("TOKEN", &MediaHost::onAlbum, &MediaHost::onError);
    task.setHostContext(&host);
    task.Run();
  }

  void listMedia(const std::string& album) {
    SNRFacebookEnumMediaInfoTask task("TOKEN", album, &MediaHost::onMedia, &MediaHost::onError);
    task.setHostContext(&host);
    task.Run();
  }

  void answer(const std::vector<std::string>& bodies) {
    std::vector<PageReply> replies;
    for (const std::string& body : bodies) replies.push_back({.body = body});
    server.answerInOrder(replies);
  }

  [[nodiscard]] std::string next(const std::string& target) const {
    return R"(,"paging":{"next":")" + server.url() + target + R"("})";
  }

  PageServer server;
  ScopedMediaHosts hosts{server};
  MediaHost host;
};

using FacebookAlbums = FacebookTest;
using FacebookPhotos = FacebookTest;
using FacebookVideos = FacebookTest;

}  // namespace

TEST(FacebookUrls, StandOnThePublicHostWithoutAConfiguration) {
  EXPECT_EQ(KBL::facebookAlbumsUrl("T"),
            std::string("https://graph.facebook.com/v2.2/me/albums?access_token=T") + plain + "&limit=50");
}

TEST(FacebookUrls, HaveTheirLiterals) {
  const std::string base = "https://graph.facebook.com/v2.2/";
  EXPECT_EQ(KBL::facebookPostsUrl("T"),
            base + "/me/posts?fields=status_type,source,picture,type,object_id&access_token=T" + plain);
  EXPECT_EQ(KBL::facebookPhotosUrl("17", "T"),
            base + "17/photos?fields=id,source,picture,images&access_token=T" + plain);
  EXPECT_EQ(KBL::facebookVideoUrl("99", "T"), base + "/99?access_token=T");
}

TEST(FacebookUrls, TakeTokensAndIdsWithoutEncoding) {
  EXPECT_EQ(KBL::facebookVideoUrl("a&b", "c+d|%"), "https://graph.facebook.com/v2.2//a&b?access_token=c+d|%");
}

TEST_F(FacebookAlbums, AreAskedAtTheConfiguredHost) {
  answer({R"({"data":[]})"});
  listAlbums();
  EXPECT_THAT(server.targets(),
              ElementsAre(std::string("/graph/v2.2/me/albums?access_token=TOKEN") + plain + "&limit=50"));
}

TEST_F(FacebookAlbums, ComeOverAllPagesAndEndWithTheVideos) {
  answer({R"({"data":[{"id":"1","name":"One"},{"id":"2","name":"Zw\u00f6lf"}])" + next("/graph/p2") + "}",
          R"({"data":[{"id":"3","name":"Three"}],"paging":{"previous":"x"}})"});
  listAlbums();
  EXPECT_THAT(host.albums(), ElementsAre(Album{"1", "One", 1}, Album{"2", "Zw\xc3\xb6lf", 1},
                                         Album{"3", "Three", 1}, closingAlbum));
  EXPECT_THAT(host.errors(), IsEmpty());
  EXPECT_EQ(server.targets().at(1), "/graph/p2");
}

TEST_F(FacebookAlbums, OfAUserWithoutAnyAreTheVideosAlone) {
  answer({R"({"data":[]})"});
  listAlbums();
  EXPECT_THAT(host.albums(), ElementsAre(closingAlbum));
}

TEST_F(FacebookAlbums, WithoutDataAndErrorAreAnAllZeroRecord) {
  answer({R"({"paging":{"next":"http://127.0.0.1:1/"}})"});
  listAlbums();
  EXPECT_THAT(host.albums(), ElementsAre(Album{"", "", 0}));
  EXPECT_THAT(host.errors(), IsEmpty());
  EXPECT_THAT(server.requests(), SizeIs(1));
}

TEST_F(FacebookAlbums, WithNullDataAndNullErrorAreAnAllZeroRecord) {
  answer({R"({"data":null,"error":null})"});
  listAlbums();
  EXPECT_THAT(host.albums(), ElementsAre(Album{"", "", 0}));
}

TEST_F(FacebookAlbums, WithAnErrorReportItAndSendNoRecord) {
  answer({R"({"error":{"message":"Invalid token","type":"OAuthException","code":190}})"});
  listAlbums();
  EXPECT_THAT(host.errors(), ElementsAre(Error{190, "Invalid token"}));
  EXPECT_THAT(host.albums(), IsEmpty());
}

TEST_F(FacebookAlbums, WithAnErrorOnALaterPageEndWithoutAClosingRecord) {
  answer({R"({"data":[{"id":"1","name":"One"}])" + next("/p2") + "}",
          R"({"error":{"message":"Rate limit","code":4}})"});
  listAlbums();
  EXPECT_THAT(host.albums(), ElementsAre(Album{"1", "One", 1}));
  EXPECT_THAT(host.errors(), ElementsAre(Error{4, "Rate limit"}));
}

TEST_F(FacebookAlbums, FromAnEmptyBodyAreError11) {
  answer({""});
  listAlbums();
  EXPECT_THAT(host.errors(), ElementsAre(Error{11, "can't read json."}));
  EXPECT_THAT(host.albums(), IsEmpty());
}

TEST_F(FacebookAlbums, OfAFailedFetchAreError10WithLibcurlsText) {
  server.answerInOrder({PageReply{.body = "{\"data\":[]}      ", .breakAfter = 3}});
  listAlbums();
  EXPECT_THAT(host.errors(), ElementsAre(Error{10, "Transferred a partial file"}));
  EXPECT_THAT(host.albums(), IsEmpty());
}

TEST_F(FacebookAlbums, StopTheWalkOfOnePageWhenTheHostSaysSo) {
  answer({R"({"data":[{"id":"1"},{"id":"2"},{"id":"3"}])" + next("/p2") + "}", R"({"data":[{"id":"4"}]})"});
  host.itemResult = [](std::size_t count) { return count == 2 ? 0 : 1; };
  listAlbums();
  EXPECT_THAT(host.albums(),
              ElementsAre(Album{"1", "", 1}, Album{"2", "", 1}, Album{"4", "", 1}, closingAlbum));
}

TEST_F(FacebookAlbums, WithoutACallbackAreWalkedInSilence) {
  answer({R"({"data":[{"id":"1"}])" + next("/p2") + "}", R"({"data":[]})"});
  SNRFacebookEnumAlbumInfoTask task("TOKEN", nullptr, nullptr);
  task.Run();
  EXPECT_THAT(server.requests(), SizeIs(2));
}

TEST_F(FacebookAlbums, CutNamesTo255Characters) {
  answer(
      {R"({"data":[{"id":")" + std::string(300, 'i') + R"(","name":")" + std::string(300, 'n') + R"("}]})"});
  listAlbums();
  EXPECT_EQ(host.albums().front(), (Album{std::string(255, 'i'), std::string(255, 'n'), 1}));
}

TEST_F(FacebookAlbums, ReadMembersOfAWrongTypeLikeMissingOnes) {
  answer({R"({"data":[{"id":7,"name":{}},5,null],"paging":{"next":3}})"});
  listAlbums();
  EXPECT_THAT(host.albums(), ElementsAre(Album{"", "", 1}, Album{"", "", 1}, Album{"", "", 1}, closingAlbum));
}

TEST_F(FacebookAlbums, OfAListThatIsNoneAreTheVideosAlone) {
  for (const char* data : {"{}", R"({"id":"1"})", R"("none")", "7"}) {
    MediaHost own;
    answer({std::string(R"({"data":)") + data + "}"});
    SNRFacebookEnumAlbumInfoTask task("TOKEN", &MediaHost::onAlbum, &MediaHost::onError);
    task.setHostContext(&own);
    task.Run();
    EXPECT_THAT(own.albums(), ElementsAre(closingAlbum)) << data;
    EXPECT_THAT(own.errors(), IsEmpty()) << data;
  }
}

TEST_F(FacebookAlbums, WithAnErrorThatIsNoObjectReportCode0) {
  answer({R"({"error":"out of order"})"});
  listAlbums();
  EXPECT_THAT(host.errors(), ElementsAre(Error{0, ""}));
  EXPECT_THAT(host.albums(), IsEmpty());
}

TEST_F(FacebookAlbums, AreUnreadableWhenNestedTooDeep) {
  answer({std::string(100000, '[')});
  listAlbums();
  EXPECT_THAT(host.errors(), ElementsAre(Error{11, "can't read json."}));
}

TEST_F(FacebookAlbums, FollowNoLinkToAnotherProtocol) {
  answer({R"({"data":[{"id":"1"}],"paging":{"next":"file:///etc/passwd"}})"});
  listAlbums();
  EXPECT_THAT(host.albums(), ElementsAre(Album{"1", "", 1}));
  EXPECT_THAT(host.errors(), ElementsAre(Error{10, "Unsupported protocol"}));
}

TEST_F(FacebookAlbums, StoppedInAPageFetchNoFurtherPageAndSendNoMore) {
  answer({R"({"data":[{"id":"1"},{"id":"2"}])" + next("/p2") + "}", R"({"data":[{"id":"3"}]})"});
  SNRFacebookEnumAlbumInfoTask task("TOKEN", &MediaHost::onAlbum, &MediaHost::onError);
  host.itemResult = [&](std::size_t) {
    task.Stop();
    return 1;
  };
  task.setHostContext(&host);
  task.Start(nullptr);
  ASSERT_TRUE(host.waitForCalls(1));
  task.Stop();
  EXPECT_THAT(host.albums(), ElementsAre(Album{"1", "", 1}));
  EXPECT_THAT(host.errors(), IsEmpty());
  EXPECT_THAT(server.requests(), SizeIs(1));
}

// Of all lists this one alone begins a fetch behind a stop; it ends before a request is sent.
TEST_F(FacebookAlbums, DoNotAskForAStopBetweenPagesAsOtherListsDo) {
  answer({R"({"data":[{"id":"1"}])" + next("/p2") + "}", R"({"data":[{"source":"1"}])" + next("/p2") + "}"});
  const auto performs = [this](KBL::SNRRequestTask& task) {
    const ScopedCurlCalls recorded;
    host.itemResult = [&](std::size_t) {
      task.Stop();
      return 1;
    };
    task.setHostContext(&host);
    task.Run();
    return ScopedCurlCalls::performs();
  };
  SNRFacebookEnumAlbumInfoTask albums("TOKEN", &MediaHost::onAlbum, &MediaHost::onError);
  EXPECT_EQ(performs(albums), 2);
  SNRFacebookEnumMediaInfoTask photos("TOKEN", "1", &MediaHost::onMedia, &MediaHost::onError);
  EXPECT_EQ(performs(photos), 1);
  EXPECT_EQ(host.calls(), 2U);
  EXPECT_THAT(server.requests(), SizeIs(2));
}

TEST_F(FacebookPhotos, AreAskedForTheirAlbum) {
  answer({R"({"data":[]})"});
  listMedia("1717");
  EXPECT_THAT(
      server.targets(),
      ElementsAre(std::string("/graph/v2.2/1717/photos?fields=id,source,picture,images&access_token=TOKEN") +
                  plain));
  EXPECT_THAT(host.media(), ElementsAre(closingMedia));
}

TEST_F(FacebookPhotos, TakeTheirLargestImage) {
  answer({R"({"data":[{"source":"s","picture":"p","images":[
      {"width":10,"height":10,"source":"small"},
      {"width":100,"height":50,"source":"large"},
      {"width":20,"height":20,"source":"middle"}]}]})"});
  listMedia("1");
  EXPECT_THAT(host.media(), ElementsAre(Media{0, "large", "p", 1}, closingMedia));
}

TEST_F(FacebookPhotos, TakeTheFirstOfTwoImagesOfTheSameArea) {
  answer({R"({"data":[{"source":"s","picture":"p","images":[
      {"width":10,"height":20,"source":"first"},{"width":20,"height":10,"source":"second"}]}]})"});
  listMedia("1");
  EXPECT_EQ(host.media().front().url, "first");
}

TEST_F(FacebookPhotos, WithoutImagesKeepTheirSource) {
  answer({R"({"data":[{"source":"s","picture":"p","images":[]},{"source":"t","picture":"q"}]})"});
  listMedia("1");
  EXPECT_THAT(host.media(), ElementsAre(Media{0, "s", "p", 1}, Media{0, "t", "q", 1}, closingMedia));
}

TEST_F(FacebookPhotos, StartEachPhotosSearchAnew) {
  answer({R"({"data":[
      {"source":"s","picture":"p","images":[{"width":100,"height":100,"source":"big"}]},
      {"source":"t","picture":"q","images":[{"width":10,"height":10,"source":"little"}]}]})"});
  listMedia("1");
  EXPECT_EQ(host.media().at(1).url, "little");
}

TEST_F(FacebookPhotos, ReckonAreasIn32Bits) {
  answer({R"({"data":[{"source":"s","picture":"p","images":[
      {"width":65536,"height":65536,"source":"wraps to nothing"},
      {"width":65536,"height":32768,"source":"wraps below nothing"},
      {"width":3,"height":4,"source":"fits"}]}]})"});
  listMedia("1");
  EXPECT_EQ(host.media().front().url, "fits");
}

TEST_F(FacebookPhotos, ComeOverAllPagesAndEndWithAnAllZeroRecord) {
  answer({R"({"data":[{"source":"a","picture":"b"}])" + next("/graph/p2?x=%20") + "}",
          R"({"data":[{"source":"c","picture":"d"}]})"});
  listMedia("1");
  EXPECT_THAT(host.media(), ElementsAre(Media{0, "a", "b", 1}, Media{0, "c", "d", 1}, closingMedia));
  EXPECT_EQ(server.targets().at(1), "/graph/p2?x=%20");
}

TEST_F(FacebookPhotos, WithAnErrorReportItAndSendTheClosingRecord) {
  answer({R"({"error":{"message":"No such album","code":100}})"});
  listMedia("1");
  EXPECT_THAT(host.errors(), ElementsAre(Error{100, "No such album"}));
  EXPECT_THAT(host.media(), ElementsAre(closingMedia));
}

TEST_F(FacebookPhotos, FromAnUnreadablePageReportItAndSendTheClosingRecord) {
  answer({"<html>"});
  listMedia("1");
  EXPECT_THAT(host.errors(), ElementsAre(Error{11, "can't read json."}));
  EXPECT_THAT(host.media(), ElementsAre(closingMedia));
}

TEST_F(FacebookPhotos, StopTheWalkOfOnePageWhenTheHostSaysSo) {
  answer({R"({"data":[{"source":"1"},{"source":"2"}])" + next("/p2") + "}", R"({"data":[{"source":"3"}]})"});
  host.itemResult = [](std::size_t count) { return count == 1 ? 0 : 1; };
  listMedia("1");
  EXPECT_THAT(host.media(), ElementsAre(Media{0, "1", "", 1}, Media{0, "3", "", 1}, closingMedia));
}

TEST_F(FacebookPhotos, StoppedBetweenPagesFetchNoFurtherPageAndSendNoClosingRecord) {
  answer({R"({"data":[{"source":"1"}])" + next("/p2") + "}", R"({"data":[{"source":"2"}]})"});
  SNRFacebookEnumMediaInfoTask task("TOKEN", "1", &MediaHost::onMedia, &MediaHost::onError);
  host.itemResult = [&](std::size_t) {
    task.Stop();
    return 1;
  };
  task.setHostContext(&host);
  task.Start(nullptr);
  ASSERT_TRUE(host.waitForCalls(1));
  task.Stop();
  EXPECT_THAT(host.media(), ElementsAre(Media{0, "1", "", 1}));
  EXPECT_THAT(host.errors(), IsEmpty());
  EXPECT_THAT(server.requests(), SizeIs(1));
}

TEST_F(FacebookVideos, NeverReachThePhotos) {
  answer({R"({"data":[]})"});
  listMedia("FACEBOOK_VIDEO");
  EXPECT_THAT(server.targets(),
              ElementsAre(std::string("/graph/v2.2//me/posts?fields=status_type,source,picture,type,object_id"
                                      "&access_token=TOKEN") +
                          plain));
  EXPECT_THAT(host.media(), ElementsAre(closingMedia));
}

TEST_F(FacebookVideos, TakeTheAddressesOfTheirOwnObject) {
  answer(
      {R"({"data":[{"type":"video","status_type":"added_video","object_id":"77","source":"ps","picture":"pp"}]})",
       R"({"id":"77","source":"vs","picture":"vp"})"});
  listMedia("FACEBOOK_VIDEO");
  EXPECT_THAT(host.media(), ElementsAre(Media{1, "vs", "vp", 1}, closingMedia));
  EXPECT_EQ(server.targets().at(1), "/graph/v2.2//77?access_token=TOKEN");
}

TEST_F(FacebookVideos, AreAddedOnesAlone) {
  answer({R"({"data":[
      {"type":"video","status_type":"shared_story","source":"a","picture":"b"},
      {"type":"video","source":"c","picture":"d"},
      {"type":"photo","status_type":"added_video","source":"e","picture":"f"},
      {"type":"video","status_type":"added_video","source":"g","picture":"h"}]})"});
  listMedia("FACEBOOK_VIDEO");
  EXPECT_THAT(host.media(), ElementsAre(Media{1, "g", "h", 1}, closingMedia));
  EXPECT_THAT(server.requests(), SizeIs(1));
}

TEST_F(FacebookVideos, WithoutASourceOfTheirOwnTakeBothAddressesOfThePost) {
  answer(
      {R"({"data":[{"type":"video","status_type":"added_video","object_id":"7","source":"ps","picture":"pp"}]})",
       R"({"picture":"vp"})"});
  listMedia("FACEBOOK_VIDEO");
  EXPECT_THAT(host.media(), ElementsAre(Media{1, "ps", "pp", 1}, closingMedia));
}

TEST_F(FacebookVideos, WithoutAPictureOfTheirOwnTakeBothAddressesOfThePost) {
  answer(
      {R"({"data":[{"type":"video","status_type":"added_video","object_id":"7","source":"ps","picture":"pp"}]})",
       R"({"source":"vs"})"});
  listMedia("FACEBOOK_VIDEO");
  EXPECT_THAT(host.media(), ElementsAre(Media{1, "ps", "pp", 1}, closingMedia));
}

TEST_F(FacebookVideos, WhoseOwnFetchFailsReportItAndTakeTheAddressesOfThePost) {
  server.answerInOrder({PageReply{.body = R"({"data":[
           {"type":"video","status_type":"added_video","object_id":"1","source":"s1","picture":"p1"},
           {"type":"video","status_type":"added_video","object_id":"2","source":"s2","picture":"p2"}]})"},
                        PageReply{.body = R"({"source":"v1","picture":"q1"})"},
                        PageReply{.body = R"({"source":"v2","picture":"q2"})", .breakAfter = 5}});
  listMedia("FACEBOOK_VIDEO");
  EXPECT_THAT(host.errors(), ElementsAre(Error{10, "Transferred a partial file"}));
  EXPECT_THAT(host.media(), ElementsAre(Media{1, "v1", "q1", 1}, Media{1, "s2", "p2", 1}, closingMedia));
}

TEST_F(FacebookVideos, WithAnUnreadableObjectTakeTheAddressesOfThePostInSilence) {
  answer(
      {R"({"data":[{"type":"video","status_type":"added_video","object_id":"7","source":"ps","picture":"pp"}]})",
       "<html>"});
  listMedia("FACEBOOK_VIDEO");
  EXPECT_THAT(host.errors(), IsEmpty());
  EXPECT_THAT(host.media(), ElementsAre(Media{1, "ps", "pp", 1}, closingMedia));
}

TEST_F(FacebookVideos, ComeOverAllPages) {
  answer({R"({"data":[{"type":"video","status_type":"added_video","source":"a","picture":"b"}])" +
              next("/p2") + "}",
          R"({"data":[{"type":"video","status_type":"added_video","source":"c","picture":"d"}]})"});
  listMedia("FACEBOOK_VIDEO");
  EXPECT_THAT(host.media(), ElementsAre(Media{1, "a", "b", 1}, Media{1, "c", "d", 1}, closingMedia));
}

TEST_F(FacebookVideos, StoppedDuringAnObjectsFetchSendNothingMore) {
  server.answerInOrder(
      {PageReply{.body = R"({"data":[{"type":"video","status_type":"added_video","object_id":"1"}]})"},
       PageReply{.body = "{\"source\":\"x\"}", .stallAfter = 2}});
  SNRFacebookEnumMediaInfoTask task("TOKEN", "FACEBOOK_VIDEO", &MediaHost::onMedia, &MediaHost::onError);
  task.setHostContext(&host);
  task.Start(nullptr);
  ASSERT_TRUE(server.waitForRequests(2));
  task.Stop();
  EXPECT_EQ(host.calls(), 0U);
}
