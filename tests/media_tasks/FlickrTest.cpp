#include "media_tasks/CurlMediaFetcher.h"
#include "media_tasks/FlickrUrl.h"
#include "media_tasks/ListFixture.h"
#include "media_tasks/MediaHosts.h"
#include "media_tasks/SNRFlickrImageTask.h"
#include "support/ManualTimeSource.h"
#include <BsCloudConfig/BsCloudConfig.h>

using KBL::FlickrCredentials;
using KBL::SNRFlickrImageTask;
using testing::ElementsAre;
using testing::EndsWith;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

namespace {

class FlickrTest : public ListFixture {
 protected:
  void list(const std::string& pair = "TOKEN|SECRET") { list(pair, fetcher, host); }
  static void list(const std::string& pair, KBL::MediaFetcher& by, MediaHost& own) {
    SNRFlickrImageTask task("KEY", "APPSECRET", pair, &MediaHost::onMedia, &MediaHost::onError, by);
    task.setHostContext(&own);
    task.Run();
  }

  static std::string page(int page, int pages, const std::string& photos) {
    return R"({"stat":"ok","photos":{"page":)" + std::to_string(page) + R"(,"pages":)" +
           std::to_string(pages) + R"(,"photo":[)" + photos + "]}}";
  }

  static std::string photo(const std::string& id) {
    return R"({"id":")" + id + R"(","secret":"sec","server":"65535","farm":9,"url_o":"http://o/)" + id +
           R"(.jpg"})";
  }

  [[nodiscard]] Media item(const std::string& id) const {
    return {0, "http://o/" + id + ".jpg", fetcher.url() + "/farm-9/65535/" + id + "_sec_t.jpg", 1};
  }
};

using Flickr = FlickrTest;

std::string photoHost(int farm) {
  std::string url;
  KBL::FlickrPhotoHosts().append(url, farm);
  return url;
}

}  // namespace

TEST(MediaHosts, ArePublicWithoutAConfiguration) {
  EXPECT_EQ(KBL::facebookGraphHost(), "https://graph.facebook.com");
  EXPECT_EQ(KBL::flickrRestHost(), "https://api.flickr.com");
  EXPECT_EQ(photoHost(66), "https://farm66.staticflickr.com");
  EXPECT_EQ(KBL::instagramApiHost(), "https://api.instagram.com");
}

TEST(MediaHosts, ArePublicWhereTheConfigurationLacksTheKey) {
  KBL::setCloudConfig({{"urlMediaFlickrRest", "http://rest.example/prefix"}});
  EXPECT_EQ(KBL::flickrRestHost(), "http://rest.example/prefix");
  EXPECT_EQ(KBL::facebookGraphHost(), "https://graph.facebook.com");
  EXPECT_EQ(photoHost(1), "https://farm1.staticflickr.com");
  EXPECT_EQ(KBL::instagramApiHost(), "https://api.instagram.com");
  KBL::clearCloudConfig();
}

TEST(MediaHosts, ReplaceTheFarmAsText) {
  KBL::setCloudConfig({{"urlMediaFlickrPhoto", "http://%s%n.example/f%d/%d"}});
  EXPECT_EQ(photoHost(7), "http://%s%n.example/f7/%d");
  KBL::setCloudConfig({{"urlMediaFlickrPhoto", "http://one.example"}});
  EXPECT_EQ(photoHost(7), "http://one.example");
  KBL::clearCloudConfig();
}

TEST_F(Flickr, ListsAllPagesAndEndsWithAnAllZeroRecord) {
  answer({page(1, 3, photo("a") + "," + photo("b")), page(2, 3, photo("c")), page(3, 3, photo("d"))});
  list();
  EXPECT_THAT(host.media(), ElementsAre(item("a"), item("b"), item("c"), item("d"), closing));
  EXPECT_THAT(host.errors(), IsEmpty());
}

TEST_F(Flickr, AsksForEveryPageWith50Photos) {
  answer({page(1, 2, photo("a")), page(2, 2, photo("b"))});
  list();
  ASSERT_THAT(fetcher.targets(), SizeIs(2));
  EXPECT_THAT(fetcher.targets().at(0), EndsWith("&page=1&per_page=50"));
  EXPECT_THAT(fetcher.targets().at(1), EndsWith("&page=2&per_page=50"));
}

TEST_F(Flickr, SignsEachUrlWithATimeOfItsOwn) {
  const ScopedManualTime time(1'700'000'000'123);
  fetcher.answer([&](const std::string& target) {
    time->advance(5000);
    const bool isFirst = target.find("&page=1&") != std::string::npos;
    return ScriptedReply{.body = page(isFirst ? 1 : 2, 2, photo("a"))};
  });
  list();
  const FlickrCredentials credentials("KEY", "APPSECRET", "TOKEN|SECRET");
  const std::string host1 = fetcher.url() + "/flickr";
  EXPECT_EQ(fetcher.url() + fetcher.targets().at(0),
            KBL::flickrPageUrl(credentials, host1, 1, 50, 1'700'000'000'123));
  EXPECT_EQ(fetcher.url() + fetcher.targets().at(1),
            KBL::flickrPageUrl(credentials, host1, 2, 50, 1'700'000'005'123));
}

TEST_F(Flickr, SignsTheNextUrlBeforeTheHostSeesThePage) {
  const ScopedManualTime time(1'700'000'000'123);
  answer({page(1, 2, photo("a")), page(2, 2, "")});
  host.itemResult = [&](std::size_t) {
    time->advance(60'000);
    return 1;
  };
  list();
  EXPECT_THAT(fetcher.targets().at(1), testing::HasSubstr("&oauth_timestamp=1700000000&"));
}

TEST_F(Flickr, TakesTheOauthWayWithATokenSecret) {
  answer({page(1, 1, "")});
  list("TOKEN|SECRET");
  EXPECT_THAT(fetcher.targets().at(0), StartsWith("/flickr/services/rest?oauth_body_hash="));
}

TEST_F(Flickr, TakesTheMd5WayWithALeadingBar) {
  answer({page(1, 1, "")});
  list("|TOKEN");
  EXPECT_THAT(fetcher.targets().at(0), StartsWith("/flickr/services/rest/?method="));
}

TEST_F(Flickr, OfOnePageAsksOnce) {
  answer({page(1, 1, photo("a"))});
  list();
  EXPECT_THAT(fetcher.targets(), SizeIs(1));
}

TEST_F(Flickr, GivesAPhotoWithoutAnOriginalAnEmptyAddress) {
  answer({page(1, 1, R"({"id":"a","secret":"sec","server":"65535","farm":9})")});
  list();
  EXPECT_THAT(host.media(),
              ElementsAre(Media{0, "", fetcher.url() + "/farm-9/65535/a_sec_t.jpg", 1}, closing));
}

TEST_F(Flickr, TakesMembersOfWrongTypesForMissingOnes) {
  answer({page(1, 1, R"({"id":7,"secret":["sec"],"server":{},"farm":"9","url_o":true,"ids":"a"},[1],3)")});
  list();
  const Media nothing{0, "", fetcher.url() + "/farm-0//__t.jpg", 1};
  EXPECT_THAT(host.media(), ElementsAre(nothing, nothing, nothing, closing));
}

TEST_F(Flickr, ReportsTheServicesFailureAndEndsTheList) {
  answer({R"({"stat":"fail","code":98,"message":"Invalid auth token"})"});
  list();
  EXPECT_THAT(host.errors(), ElementsAre(Error{98, "Invalid auth token"}));
  EXPECT_THAT(host.media(), ElementsAre(closing));
}

TEST_F(Flickr, TakesAMissingStatForAFailure) {
  answer({R"({"photos":{"page":1,"pages":1,"photo":[]}})"});
  list();
  EXPECT_THAT(host.errors(), ElementsAre(Error{0, ""}));
  EXPECT_THAT(host.media(), ElementsAre(closing));
}

TEST_F(Flickr, GoesOnWithAnyOtherStat) {
  answer({R"({"stat":"whatever","photos":{"page":1,"pages":1,"photo":[)" + photo("a") + "]}}"});
  list();
  answer({R"({"stat":1,"photos":{"page":1,"pages":1,"photo":[)" + photo("b") + "]}}"});
  list();
  EXPECT_THAT(host.media(), ElementsAre(item("a"), closing, item("b"), closing));
}

TEST_F(Flickr, TakesANullStatForAFailure) {
  answer({R"({"stat":null,"code":7,"message":"m"})"});
  list();
  EXPECT_THAT(host.errors(), ElementsAre(Error{7, "m"}));
}

TEST_F(Flickr, ReportsAReplyWithoutPhotos) {
  answer({R"({"stat":"ok"})"});
  list();
  EXPECT_THAT(host.errors(), ElementsAre(Error{11, "can't find photo node."}));
  EXPECT_THAT(host.media(), ElementsAre(closing));
}

TEST_F(Flickr, ReportsPhotosWithoutAPhotoNode) {
  answer({R"({"stat":"ok","photos":{"page":1,"pages":2,"photo":null}})"});
  list();
  EXPECT_THAT(host.errors(), ElementsAre(Error{11, "can't find photo node."}));
  EXPECT_THAT(fetcher.targets(), SizeIs(1));
}

TEST_F(Flickr, ReportsPhotosThatAreNoList) {
  for (const char* photos : {"7", R"({"photo":{"1":{"url_o":"o"}}})", R"({"photo":"none"})"}) {
    MediaHost own;
    answer({std::string(R"({"stat":"ok","photos":)") + photos + "}"});
    list("T|S", fetcher, own);
    EXPECT_THAT(own.errors(), ElementsAre(Error{11, "can't find photo node."})) << photos;
    EXPECT_THAT(own.media(), ElementsAre(closing)) << photos;
  }
}

TEST_F(Flickr, ReportsATokenThatMakesNoAddress) {
  list("A B|C", KBL::curlMediaFetcher(), host);
  EXPECT_THAT(host.errors(), ElementsAre(Error{10, "URL using bad/illegal format or missing URL"}));
  EXPECT_THAT(host.media(), ElementsAre(closing));
}
