#include "media_tasks/CurlMediaFetcher.h"
#include "media_tasks/ListFixture.h"
#include "media_tasks/SNRInstagramImageTask.h"

using KBL::SNRInstagramImageTask;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

constexpr const char* secret = "0123456789abcdef0123456789abcdef";

class InstagramTest : public ListFixture {
 protected:
  void list() { list(fetcher, host); }
  static void list(KBL::MediaFetcher& by, MediaHost& own) {
    SNRInstagramImageTask task("TOKEN", &MediaHost::onMedia, &MediaHost::onError, by);
    task.setHostContext(&own);
    task.Run();
  }

  static std::string page(const std::string& data, const std::string& nextId = {}) {
    const std::string pagination =
        nextId.empty() ? "" : R"(,"pagination":{"next_max_id":")" + nextId + R"("})";
    return R"({"meta":{"code":200},"data":[)" + data + "]" + pagination + "}";
  }

  static std::string image(const std::string& name, const std::string& more = {}) {
    return R"({"images":{"standard_resolution":{"url":"i)" + name + R"("},"thumbnail":{"url":"t)" + name +
           R"("}})" + more + "}";
  }
};

using Instagram = InstagramTest;

}  // namespace

TEST_F(Instagram, ListsAllPagesAndEndsWithAnAllZeroRecord) {
  answer({page(image("1") + "," + image("2"), "ID_2"), page(image("3"))});
  list();
  EXPECT_THAT(host.media(), ElementsAre(Media{0, "i1", "t1", 1}, Media{0, "i2", "t2", 1},
                                        Media{0, "i3", "t3", 1}, closing));
  EXPECT_THAT(host.errors(), IsEmpty());
}

TEST_F(Instagram, SignsEveryPageWithTheDeployedSecret) {
  answer({page("", "ID_2"), page("")});
  list();
  const std::string api = fetcher.url() + "/insta";
  ASSERT_THAT(fetcher.targets(), SizeIs(2));
  EXPECT_EQ(fetcher.url() + fetcher.targets().at(0), KBL::instagramPageUrl(api, "TOKEN", secret, ""));
  EXPECT_EQ(fetcher.url() + fetcher.targets().at(1), KBL::instagramPageUrl(api, "TOKEN", secret, "ID_2"));
}

TEST_F(Instagram, OfAnEmptyUserSendsTheClosingRecordAlone) {
  answer({R"({"meta":{"code":200},"data":[]})"});
  list();
  EXPECT_THAT(host.media(), ElementsAre(closing));
  EXPECT_THAT(host.errors(), IsEmpty());
}

TEST_F(Instagram, GivesAVideoItsAddressAndTheImagesThumbnail) {
  answer({page(image("1", R"(,"videos":{"standard_resolution":{"url":"v1"}})") + "," +
               image("2", R"(,"videos":null)"))});
  list();
  EXPECT_THAT(host.media(), ElementsAre(Media{1, "v1", "t1", 1}, Media{0, "i2", "t2", 1}, closing));
}

TEST_F(Instagram, GivesAnElementWithoutImagesNoRecord) {
  answer({page(R"({"videos":{"standard_resolution":{"url":"v"}}},)" + image("1"))});
  list();
  EXPECT_THAT(host.media(), ElementsAre(Media{0, "i1", "t1", 1}, closing));
}

TEST_F(Instagram, ReadsImagesAndVideosOfAWrongTypeLikeMissingOnes) {
  answer({page(R"({"images":"none"},{"images":[1]},)" + image("1", R"(,"videos":"none")"))});
  list();
  EXPECT_THAT(host.media(), ElementsAre(Media{0, "i1", "t1", 1}, closing));
}

TEST_F(Instagram, GivesAnElementWithEmptyImagesARecord) {
  answer({page(R"({"images":{}})")});
  list();
  EXPECT_THAT(host.media(), ElementsAre(Media{0, "", "", 1}, closing));
}

TEST_F(Instagram, ReportsTheServicesErrorAndEndsTheList) {
  answer(
      {R"({"meta":{"code":400,"error_type":"OAuthAccessTokenException","message":"The token is invalid."}})"});
  list();
  EXPECT_THAT(host.errors(), ElementsAre(Error{400, "The token is invalid."}));
  EXPECT_THAT(host.media(), ElementsAre(closing));
}

TEST_F(Instagram, ReportsAReplyWithoutMetaAsCode0) {
  answer({R"({"code":403,"data":[]})"});
  list();
  EXPECT_THAT(host.errors(), ElementsAre(Error{0, ""}));
  EXPECT_THAT(host.media(), ElementsAre(closing));
}

TEST_F(Instagram, LooksAtTheJsonAndNotAtTheStatus) {
  PageServer server;
  const ScopedMediaHosts served(server);
  server.answerInOrder({PageReply{.body = page(image("1")), .status = 500}});
  list(KBL::curlMediaFetcher(), host);
  EXPECT_THAT(host.media(), ElementsAre(Media{0, "i1", "t1", 1}, closing));
}

TEST_F(Instagram, EndsWithAnEmptyId) {
  answer({R"({"meta":{"code":200},"data":[],"pagination":{"next_max_id":""}})", page(image("1"))});
  list();
  EXPECT_THAT(fetcher.targets(), SizeIs(1));
}

TEST_F(Instagram, GivesDataThatIsNoListNoRecord) {
  for (const std::string& data : {"{\"1\":" + image("1") + "}", std::string("7"), std::string("null")}) {
    MediaHost own;
    answer({R"({"meta":{"code":200},"data":)" + data + "}"});
    list(fetcher, own);
    EXPECT_THAT(own.media(), ElementsAre(closing)) << data;
    EXPECT_THAT(own.errors(), IsEmpty()) << data;
  }
}
