#include "media_tasks/FacebookTest.h"
#include "media_tasks/SNRFacebookEnumMediaInfoTask.h"

using KBL::SNRFacebookEnumMediaInfoTask;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

class FacebookMedia : public FacebookTest {
 protected:
  /// Runs the job on this thread, to its end.
  void listMedia(const std::string& album) {
    SNRFacebookEnumMediaInfoTask task("TOKEN", album, &MediaHost::onMedia, &MediaHost::onError);
    task.setHostContext(&host);
    task.Run();
  }
};

using FacebookPhotos = FacebookMedia;
using FacebookVideos = FacebookMedia;

}  // namespace

TEST_F(FacebookPhotos, AreAskedForTheirAlbum) {
  answer({R"({"data":[]})"});
  listMedia("1717");
  EXPECT_THAT(
      server.targets(),
      ElementsAre(std::string("/graph/v2.2/1717/photos?fields=id,source,picture,images&access_token=TOKEN") +
                  plainReply));
  EXPECT_THAT(host.media(), ElementsAre(closing));
}

TEST_F(FacebookPhotos, TakeTheirLargestImage) {
  answer({R"({"data":[{"source":"s","picture":"p","images":[
      {"width":10,"height":10,"source":"small"},
      {"width":100,"height":50,"source":"large"},
      {"width":20,"height":20,"source":"middle"}]}]})"});
  listMedia("1");
  EXPECT_THAT(host.media(), ElementsAre(Media{0, "large", "p", 1}, closing));
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
  EXPECT_THAT(host.media(), ElementsAre(Media{0, "s", "p", 1}, Media{0, "t", "q", 1}, closing));
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
  EXPECT_THAT(host.media(), ElementsAre(Media{0, "a", "b", 1}, Media{0, "c", "d", 1}, closing));
  EXPECT_EQ(server.targets().at(1), "/graph/p2?x=%20");
}

TEST_F(FacebookPhotos, WithAnErrorReportItAndSendTheClosingRecord) {
  answer({R"({"error":{"message":"No such album","code":100}})"});
  listMedia("1");
  EXPECT_THAT(host.errors(), ElementsAre(Error{100, "No such album"}));
  EXPECT_THAT(host.media(), ElementsAre(closing));
}

TEST_F(FacebookPhotos, WithAnErrorFollowNoLink) {
  answer({R"({"error":{"message":"Rate limit","code":4})" + next("/p2") + "}", R"({"data":[]})"});
  listMedia("1");
  EXPECT_THAT(host.errors(), ElementsAre(Error{4, "Rate limit"}));
  EXPECT_THAT(server.requests(), SizeIs(1));
}

TEST_F(FacebookPhotos, WithDataBesideAnErrorAreListed) {
  answer({R"({"data":[{"source":"s","picture":"p"}],"error":{"message":"m","code":4}})"});
  listMedia("1");
  EXPECT_THAT(host.errors(), IsEmpty());
  EXPECT_THAT(host.media(), ElementsAre(Media{0, "s", "p", 1}, closing));
}

TEST_F(FacebookPhotos, OfImagesThatAreNoListKeepTheirSource) {
  answer({R"({"data":[{"source":"s","picture":"p","images":{"1":{"width":3,"height":4,"source":"no"}}}]})"});
  listMedia("1");
  EXPECT_THAT(host.media(), ElementsAre(Media{0, "s", "p", 1}, closing));
}

TEST_F(FacebookMedia, OfDataThatIsNoListIsTheClosingRecordAlone) {
  const std::string item = R"({"type":"video","status_type":"added_video","source":"s","picture":"p"})";
  for (const std::string album : {"1", "FACEBOOK_VIDEO"}) {
    answer({R"({"data":{"1":)" + item + "}}"});
    listMedia(album);
  }
  EXPECT_THAT(host.errors(), IsEmpty());
  EXPECT_THAT(host.media(), ElementsAre(closing, closing));
}

TEST_F(FacebookVideos, NeverReachThePhotos) {
  answer({R"({"data":[]})"});
  listMedia("FACEBOOK_VIDEO");
  EXPECT_THAT(server.targets(),
              ElementsAre(std::string("/graph/v2.2//me/posts?fields=status_type,source,picture,type,object_id"
                                      "&access_token=TOKEN") +
                          plainReply));
  EXPECT_THAT(host.media(), ElementsAre(closing));
}

TEST_F(FacebookVideos, TakeTheAddressesOfTheirOwnObject) {
  answer(
      {R"({"data":[{"type":"video","status_type":"added_video","object_id":"77","source":"ps","picture":"pp"}]})",
       R"({"id":"77","source":"vs","picture":"vp"})"});
  listMedia("FACEBOOK_VIDEO");
  EXPECT_THAT(host.media(), ElementsAre(Media{1, "vs", "vp", 1}, closing));
  EXPECT_EQ(server.targets().at(1), "/graph/v2.2//77?access_token=TOKEN");
}

TEST_F(FacebookVideos, AreAddedOnesAlone) {
  answer({R"({"data":[
      {"type":"video","status_type":"shared_story","source":"a","picture":"b"},
      {"type":"video","source":"c","picture":"d"},
      {"type":"photo","status_type":"added_video","source":"e","picture":"f"},
      {"type":"video","status_type":"added_video","source":"g","picture":"h"}]})"});
  listMedia("FACEBOOK_VIDEO");
  EXPECT_THAT(host.media(), ElementsAre(Media{1, "g", "h", 1}, closing));
  EXPECT_THAT(server.requests(), SizeIs(1));
}

TEST_F(FacebookVideos, WithoutASourceOfTheirOwnTakeBothAddressesOfThePost) {
  answer(
      {R"({"data":[{"type":"video","status_type":"added_video","object_id":"7","source":"ps","picture":"pp"}]})",
       R"({"picture":"vp"})"});
  listMedia("FACEBOOK_VIDEO");
  EXPECT_THAT(host.media(), ElementsAre(Media{1, "ps", "pp", 1}, closing));
}

TEST_F(FacebookVideos, WithoutAPictureOfTheirOwnTakeBothAddressesOfThePost) {
  answer(
      {R"({"data":[{"type":"video","status_type":"added_video","object_id":"7","source":"ps","picture":"pp"}]})",
       R"({"source":"vs"})"});
  listMedia("FACEBOOK_VIDEO");
  EXPECT_THAT(host.media(), ElementsAre(Media{1, "ps", "pp", 1}, closing));
}

TEST_F(FacebookVideos, WhoseOwnFetchFailsReportItAndTakeTheAddressesOfThePost) {
  server.answerInOrder({PageReply{.body = R"({"data":[
           {"type":"video","status_type":"added_video","object_id":"1","source":"s1","picture":"p1"},
           {"type":"video","status_type":"added_video","object_id":"2","source":"s2","picture":"p2"}]})"},
                        PageReply{.body = R"({"source":"v1","picture":"q1"})"},
                        // What has come of the second would do.
                        PageReply{.body = R"({"source":"v2","picture":"q2"})"
                                          "      ",
                                  .breakAfter = 31}});
  listMedia("FACEBOOK_VIDEO");
  EXPECT_THAT(host.errors(), ElementsAre(Error{10, "Transferred a partial file"}));
  EXPECT_THAT(host.media(), ElementsAre(Media{1, "v1", "q1", 1}, Media{1, "s2", "p2", 1}, closing));
}

TEST_F(FacebookVideos, WithAnUnreadableObjectTakeTheAddressesOfThePostInSilence) {
  answer(
      {R"({"data":[{"type":"video","status_type":"added_video","object_id":"7","source":"ps","picture":"pp"}]})",
       "<html>"});
  listMedia("FACEBOOK_VIDEO");
  EXPECT_THAT(host.errors(), IsEmpty());
  EXPECT_THAT(host.media(), ElementsAre(Media{1, "ps", "pp", 1}, closing));
}

TEST_F(FacebookVideos, ComeOverAllPages) {
  answer({R"({"data":[{"type":"video","status_type":"added_video","source":"a","picture":"b"}])" +
              next("/p2") + "}",
          R"({"data":[{"type":"video","status_type":"added_video","source":"c","picture":"d"}]})"});
  listMedia("FACEBOOK_VIDEO");
  EXPECT_THAT(host.media(), ElementsAre(Media{1, "a", "b", 1}, Media{1, "c", "d", 1}, closing));
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
