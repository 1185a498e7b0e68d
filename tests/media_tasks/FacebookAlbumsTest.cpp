#include "media_tasks/CurlMediaFetcher.h"
#include "media_tasks/FacebookFixture.h"
#include "media_tasks/FacebookGraph.h"
#include "media_tasks/SNRFacebookEnumAlbumInfoTask.h"

using KBL::SNRFacebookEnumAlbumInfoTask;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

class FacebookAlbums : public FacebookFixture {
 protected:
  static inline const Album closingAlbum{"FACEBOOK_VIDEO", "VIDEOS", 0};

  /// Runs the job on this thread, to its end.
  void listAlbums() { listAlbums(fetcher, host); }
  static void listAlbums(KBL::MediaFetcher& by, MediaHost& own) {
    SNRFacebookEnumAlbumInfoTask task("TOKEN", &MediaHost::onAlbum, &MediaHost::onError, by);
    task.setHostContext(&own);
    task.Run();
  }
};

}  // namespace

TEST(FacebookUrls, StandOnThePublicHostWithoutAConfiguration) {
  EXPECT_EQ(
      KBL::facebookAlbumsUrl("T"),
      std::string("https://graph.facebook.com/v2.2/me/albums?access_token=T") + plainReply + "&limit=50");
}

TEST(FacebookUrls, HaveTheirLiterals) {
  const std::string base = "https://graph.facebook.com/v2.2/";
  EXPECT_EQ(KBL::facebookPostsUrl("T"),
            base + "/me/posts?fields=status_type,source,picture,type,object_id&access_token=T" + plainReply);
  EXPECT_EQ(KBL::facebookPhotosUrl("17", "T"),
            base + "17/photos?fields=id,source,picture,images&access_token=T" + plainReply);
  EXPECT_EQ(KBL::facebookVideoUrl("99", "T"), base + "/99?access_token=T");
}

TEST(FacebookUrls, TakeTokensAndIdsWithoutEncoding) {
  EXPECT_EQ(KBL::facebookVideoUrl("a&b", "c+d|%"), "https://graph.facebook.com/v2.2//a&b?access_token=c+d|%");
}

TEST_F(FacebookAlbums, AreAskedAtTheConfiguredHost) {
  answer({R"({"data":[]})"});
  listAlbums();
  EXPECT_THAT(fetcher.targets(), ElementsAre(std::string("/graph/v2.2/me/albums?access_token=TOKEN") +
                                             plainReply + "&limit=50"));
}

TEST_F(FacebookAlbums, ComeOverAllPagesAndEndWithTheVideos) {
  answer({R"({"data":[{"id":"1","name":"One"},{"id":"2","name":"Zw\u00f6lf"}])" + next("/graph/p2") + "}",
          R"({"data":[{"id":"3","name":"Three"}],"paging":{"previous":"x"}})"});
  listAlbums();
  EXPECT_THAT(host.albums(), ElementsAre(Album{"1", "One", 1}, Album{"2", "Zw\xc3\xb6lf", 1},
                                         Album{"3", "Three", 1}, closingAlbum));
  EXPECT_THAT(host.errors(), IsEmpty());
  EXPECT_EQ(fetcher.targets().at(1), "/graph/p2");
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
  EXPECT_THAT(fetcher.targets(), SizeIs(1));
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

TEST_F(FacebookAlbums, WithDataBesideAnErrorAreListed) {
  answer({R"({"data":[{"id":"1","name":"One"}],"error":{"message":"m","code":4}})"});
  listAlbums();
  EXPECT_THAT(host.errors(), IsEmpty());
  EXPECT_THAT(host.albums(), ElementsAre(Album{"1", "One", 1}, closingAlbum));
}

TEST_F(FacebookAlbums, WithAnErrorFollowNoLink) {
  answer({R"({"error":{"message":"Rate limit","code":4})" + next("/p2") + "}", R"({"data":[]})"});
  listAlbums();
  EXPECT_THAT(fetcher.targets(), SizeIs(1));
}

TEST_F(FacebookAlbums, WithAnErrorOnALaterPageEndWithoutAClosingRecord) {
  answer({R"({"data":[{"id":"1","name":"One"}])" + next("/p2") + "}",
          R"({"error":{"message":"Rate limit","code":4}})"});
  listAlbums();
  EXPECT_THAT(host.albums(), ElementsAre(Album{"1", "One", 1}));
  EXPECT_THAT(host.errors(), ElementsAre(Error{4, "Rate limit"}));
}

TEST_F(FacebookAlbums, CutNamesTo255Characters) {
  answer(
      {R"({"data":[{"id":")" + std::string(300, 'i') + R"(","name":")" + std::string(300, 'n') + R"("}]})"});
  listAlbums();
  EXPECT_EQ(host.albums().front(), (Album{std::string(255, 'i'), std::string(255, 'n'), 1}));
}

TEST_F(FacebookAlbums, CutNoNameInsideACharacter) {
  const std::string clapper = "\xF0\x9F\x8E\xAC";  // two 16-bit characters
  const std::string fits = std::string(253, 'n') + clapper;
  const std::string tooLong = std::string(254, 'n') + clapper;
  answer({R"({"data":[{"id":"1","name":")" + fits + R"("},{"id":"2","name":")" + tooLong + R"("}]})"});
  listAlbums();
  EXPECT_THAT(host.albums(),
              ElementsAre(Album{"1", fits, 1}, Album{"2", std::string(254, 'n'), 1}, closingAlbum));
}

TEST_F(FacebookAlbums, EndNamesAtAZeroAndReplaceWhatIsNoUtf8) {
  answer({R"({"data":[{"id":"1\u00002","name":"a)"
          "\xFF"
          R"(b"}]})"});
  listAlbums();
  EXPECT_EQ(host.albums().front(), (Album{"1",
                                          "a\xEF\xBF\xBD"
                                          "b",
                                          1}));
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
    listAlbums(fetcher, own);
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

TEST_F(FacebookAlbums, FollowNoLinkToAnotherProtocol) {
  PageServer server;
  const ScopedMediaHosts served(server);
  server.answerAlways(R"({"data":[{"id":"1"}],"paging":{"next":"file:///etc/passwd"}})");
  listAlbums(KBL::curlMediaFetcher(), host);
  EXPECT_THAT(host.albums(), ElementsAre(Album{"1", "", 1}));
  EXPECT_THAT(host.errors(), ElementsAre(Error{10, "Unsupported protocol"}));
}
