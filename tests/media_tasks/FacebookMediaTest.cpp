#include "media_tasks/FacebookFixture.h"
#include "media_tasks/SNRFacebookEnumMediaInfoTask.h"
#include "support/ManualTimeSource.h"

using KBL::SNRFacebookEnumMediaInfoTask;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

class FacebookMedia : public FacebookFixture {
 protected:
  /// Runs the job on this thread, to its end.
  void listMedia(const std::string& album) {
    SNRFacebookEnumMediaInfoTask task("TOKEN", album, &MediaHost::onMedia, &MediaHost::onError, fetcher);
    task.setHostContext(&host);
    task.Run();
  }

  /// Lists the videos of one post, to which the service has this object.
  void listVideoWith(const std::string& object) {
    answer({R"({"data":[)" + post("7") + "]}", object});
    listMedia("FACEBOOK_VIDEO");
  }

  /// Lists the videos on a thread, to the end of the list. Each number says how many requests there are when
  /// a fetch stalls, which costs no time.
  void listVideosThatStall(const ScopedManualTime& time, const std::vector<std::size_t>& stalls) {
    SNRFacebookEnumMediaInfoTask task("TOKEN", "FACEBOOK_VIDEO", &MediaHost::onMedia, &MediaHost::onError,
                                      fetcher);
    task.setHostContext(&host);
    task.Start(nullptr);
    std::size_t errors = 0;
    for (const std::size_t requests : stalls) {
      ASSERT_TRUE(fetcher.waitForTargets(requests));
      ++errors;
      ASSERT_TRUE(time->advanceUntil([&] { return host.errors().size() >= errors; }, 1'000));
    }
    ASSERT_TRUE(host.waitForClosingMedia());
    task.Stop();
  }

  /// An added video with an object of its own.
  static std::string post(const std::string& id) {
    return R"({"type":"video","status_type":"added_video","object_id":")" + id + R"(","source":"s)" + id +
           R"(","picture":"p)" + id + R"("})";
  }
};

using FacebookPhotos = FacebookMedia;
using FacebookVideos = FacebookMedia;

}  // namespace

TEST_F(FacebookPhotos, AreAskedForTheirAlbum) {
  answer({R"({"data":[]})"});
  listMedia("1717");
  EXPECT_THAT(
      fetcher.targets(),
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
  EXPECT_EQ(fetcher.targets().at(1), "/graph/p2?x=%20");
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
  EXPECT_THAT(fetcher.targets(), SizeIs(1));
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
  EXPECT_THAT(fetcher.targets(),
              ElementsAre(std::string("/graph/v2.2//me/posts?fields=status_type,source,picture,type,object_id"
                                      "&access_token=TOKEN") +
                          plainReply));
  EXPECT_THAT(host.media(), ElementsAre(closing));
}

TEST_F(FacebookVideos, TakeTheAddressesOfTheirOwnObject) {
  listVideoWith(R"({"id":"7","source":"vs","picture":"vp"})");
  EXPECT_THAT(host.media(), ElementsAre(Media{1, "vs", "vp", 1}, closing));
  EXPECT_EQ(fetcher.targets().at(1), "/graph/v2.2//7?access_token=TOKEN");
}

TEST_F(FacebookVideos, AreAddedOnesAlone) {
  answer({R"({"data":[
      {"type":"video","status_type":"shared_story","source":"a","picture":"b"},
      {"type":"video","source":"c","picture":"d"},
      {"type":"photo","status_type":"added_video","source":"e","picture":"f"},
      {"type":"video","status_type":"added_video","source":"g","picture":"h"}]})"});
  listMedia("FACEBOOK_VIDEO");
  EXPECT_THAT(host.media(), ElementsAre(Media{1, "g", "h", 1}, closing));
  EXPECT_THAT(fetcher.targets(), SizeIs(1));
}

TEST_F(FacebookVideos, WithoutASourceOfTheirOwnTakeBothAddressesOfThePost) {
  listVideoWith(R"({"picture":"vp"})");
  EXPECT_THAT(host.media(), ElementsAre(Media{1, "s7", "p7", 1}, closing));
}

TEST_F(FacebookVideos, WithoutAPictureOfTheirOwnTakeBothAddressesOfThePost) {
  listVideoWith(R"({"source":"vs"})");
  EXPECT_THAT(host.media(), ElementsAre(Media{1, "s7", "p7", 1}, closing));
}

TEST_F(FacebookVideos, WhoseOwnFetchFailsReportItAndTakeTheAddressesOfThePost) {
  fetcher.answerInOrder({ScriptedReply{.body = R"({"data":[
           {"type":"video","status_type":"added_video","object_id":"1","source":"s1","picture":"p1"},
           {"type":"video","status_type":"added_video","object_id":"2","source":"s2","picture":"p2"}]})"},
                         ScriptedReply{.body = R"({"source":"v1","picture":"q1"})"},
                         // What has come of the second would do.
                         ScriptedReply{.body = R"({"source":"v2","picture":"q2"})"
                                               "      ",
                                       .breakAfter = 31}});
  listMedia("FACEBOOK_VIDEO");
  EXPECT_THAT(host.errors(), ElementsAre(Error{10, "Transferred a partial file"}));
  EXPECT_THAT(host.media(), ElementsAre(Media{1, "v1", "q1", 1}, Media{1, "s2", "p2", 1}, closing));
}

TEST_F(FacebookVideos, WithAnUnreadableObjectTakeTheAddressesOfThePostInSilence) {
  listVideoWith("<html>");
  EXPECT_THAT(host.errors(), IsEmpty());
  EXPECT_THAT(host.media(), ElementsAre(Media{1, "s7", "p7", 1}, closing));
}

TEST_F(FacebookVideos, ComeOverAllPages) {
  answer({R"({"data":[{"type":"video","status_type":"added_video","source":"a","picture":"b"}])" +
              next("/p2") + "}",
          R"({"data":[{"type":"video","status_type":"added_video","source":"c","picture":"d"}]})"});
  listMedia("FACEBOOK_VIDEO");
  EXPECT_THAT(host.media(), ElementsAre(Media{1, "a", "b", 1}, Media{1, "c", "d", 1}, closing));
}

TEST_F(FacebookPhotos, WithoutDataAndWithoutAnErrorGoOnWithTheNextPage) {
  for (const std::string album : {"1", "FACEBOOK_VIDEO"}) {
    const std::size_t before = fetcher.targets().size();
    answer({R"({"other":1)" + next("/p2") + "}", R"({"data":null)" + next("/p3") + "}", R"({"data":[]})"});
    listMedia(album);
    EXPECT_EQ(fetcher.targets().size(), before + 3) << album;
  }
  EXPECT_THAT(host.errors(), IsEmpty());
  EXPECT_THAT(host.media(), ElementsAre(closing, closing));
}

TEST_F(FacebookVideos, AreNotAskedForOnceTwoInARowHaveStalled) {
  const ScopedManualTime time;
  fetcher.answer([&](const std::string& target) {
    if (target.find("/me/posts?") == std::string::npos) return ScriptedReply{.body = "{}", .stallAfter = 1};
    return ScriptedReply{.body = R"({"data":[)" + post("1") + "," + post("2") + "," + post("3") + "]" +
                                 next("/p2") + "}"};
  });
  const Error stalled{10, "Operation was aborted by an application callback"};
  listVideosThatStall(time, {2, 3});
  EXPECT_THAT(host.errors(), ElementsAre(stalled, stalled));
  EXPECT_THAT(host.media(), ElementsAre(Media{1, "s1", "p1", 1}, Media{1, "s2", "p2", 1}, closing));
  EXPECT_THAT(fetcher.targets(), SizeIs(3));
}

TEST_F(FacebookVideos, AreAskedForAsLongAsNoTwoInARowStall) {
  const ScopedManualTime time;
  fetcher.answer([&](const std::string& target) {
    if (target.find("/me/posts?") != std::string::npos) {
      return ScriptedReply{.body = R"({"data":[)" + post("1") + "," + post("2") + "," + post("3") + "," +
                                   post("4") + "]}"};
    }
    const bool isGood = target.find("//2?") != std::string::npos || target.find("//4?") != std::string::npos;
    if (isGood) return ScriptedReply{.body = R"({"source":"v","picture":"q"})"};
    return ScriptedReply{.body = "{}", .stallAfter = 1};
  });
  listVideosThatStall(time, {2, 4});
  EXPECT_THAT(host.errors(), SizeIs(2));
  EXPECT_THAT(host.media(), ElementsAre(Media{1, "s1", "p1", 1}, Media{1, "v", "q", 1},
                                        Media{1, "s3", "p3", 1}, Media{1, "v", "q", 1}, closing));
}

TEST_F(FacebookVideos, WhoseOwnFetchFailsOtherwiseAreStillAskedFor) {
  fetcher.answer([&](const std::string& target) {
    if (target.find("/me/posts?") != std::string::npos)
      return ScriptedReply{.body = R"({"data":[)" + post("1") + "," + post("2") + "," + post("3") + "]}"};
    return ScriptedReply{.body = "{}", .breakAfter = 1};
  });
  listMedia("FACEBOOK_VIDEO");
  EXPECT_THAT(host.errors(), SizeIs(3));
  EXPECT_THAT(host.media(), SizeIs(4));
}

TEST_F(FacebookVideos, StoppedDuringAnObjectsFetchSendNothingMore) {
  fetcher.answerInOrder(
      {ScriptedReply{.body = R"({"data":[{"type":"video","status_type":"added_video","object_id":"1"}]})"},
       ScriptedReply{.body = "{\"source\":\"x\"}", .stallAfter = 2}});
  SNRFacebookEnumMediaInfoTask task("TOKEN", "FACEBOOK_VIDEO", &MediaHost::onMedia, &MediaHost::onError,
                                    fetcher);
  task.setHostContext(&host);
  task.Start(nullptr);
  ASSERT_TRUE(fetcher.waitForTargets(2));
  task.Stop();
  EXPECT_EQ(host.calls(), 0U);
}
