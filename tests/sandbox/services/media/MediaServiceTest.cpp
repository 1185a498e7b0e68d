#include "sandbox/Sandbox.h"
#include "sandbox/TestClient.h"
#include "sandbox/base/MediaAccounts.h"
#include "sandbox/base/Text.h"
#include "sandbox/services/media/Jpeg.h"
#include "sandbox/services/media/MediaLibrary.h"
#include "sandbox/services/media/MediaSignatures.h"
#include "sandbox/services/media/Mp4.h"
#include "support/WaitUntil.h"

#include <gtest/gtest.h>

#include <chrono>
#include <ctime>
#include <string>
#include <vector>

namespace {

using sandbox::MediaLibrary;
using sandbox::Parameters;

constexpr const char* instagramSecret = "0123456789abcdef0123456789abcdef";

class MediaService : public testing::Test {
 protected:
  Answer albums(const std::string& query) { return client.get("/facebook/v2.2/me/albums?" + query); }

  static std::string queryOf(const Parameters& parameters) {
    std::string query;
    for (const auto& [name, value] : parameters) {
      query +=
          (query.empty() ? "" : "&") + sandbox::percentEncoded(name) + "=" + sandbox::percentEncoded(value);
    }
    return query;
  }

  /// A request signed the md5 way.
  Answer flickr(Parameters parameters) {
    parameters.emplace_back("api_key", sandbox::flickrApplicationKey);
    parameters.emplace_back("auth_token", account.flickrToken);
    parameters.emplace_back("api_sig",
                            sandbox::flickrMd5Signature(sandbox::flickrApplicationSecret, parameters));
    return client.get("/flickr/services/rest/?" + queryOf(parameters));
  }

  /// A request signed the OAuth way, at this time; with another value in the place of one of its own.
  Answer oauth(std::time_t time, const std::string& nonce,
               const std::pair<std::string, std::string>& change = {}) {
    Parameters parameters{{"api_key", sandbox::flickrApplicationKey},
                          {"format", "json"},
                          {"method", "flickr.photos.getWithoutGeoData"},
                          {"nojsoncallback", "1"},
                          {"oauth_consumer_key", sandbox::flickrApplicationKey},
                          {"oauth_nonce", nonce},
                          {"oauth_signature_method", "HMAC-SHA1"},
                          {"oauth_timestamp", std::to_string(time)},
                          {"oauth_token", "flickr-token-ada"},
                          {"oauth_version", "1.0"}};
    for (auto& [name, value] : parameters) {
      if (name == change.first) value = change.second;
    }
    parameters.emplace_back("oauth_signature",
                            sandbox::oauthSignature(server.baseUrl() + "/flickr/services/rest", parameters,
                                                    sandbox::flickrApplicationSecret, "flickr-secret-ada"));
    if (change.first == "oauth_signature") parameters.back().second = change.second;
    return client.get("/flickr/services/rest?" + queryOf(parameters));
  }

  /// A signed request for the recent media of whoever has the token.
  Answer instagram(const std::string& token, Parameters parameters = {}) {
    parameters.emplace_back("access_token", token);
    parameters.emplace_back(
        "sig", sandbox::instagramSignature("/users/self/media/recent", parameters, instagramSecret));
    return client.get("/instagram/v1/users/self/media/recent/?" + queryOf(parameters));
  }

  sandbox::Sandbox server;
  TestClient client{server};
  const sandbox::MediaAccount account = sandbox::mediaAccount(server.users()[0]);
};

TEST_F(MediaService, AccountsAreWrittenAfterTheGivenName) {
  EXPECT_EQ(account.facebookToken, "facebook-token-ada");
  EXPECT_EQ(account.flickrPair, "flickr-token-ada|flickr-secret-ada");
  EXPECT_EQ(account.flickrToken, "|flickr-token-ada");
  EXPECT_EQ(account.instagramToken, "instagram-token-ada");
}

TEST_F(MediaService, FacebookSendsErrorsAsGoodAnswersOnlyWhenAsked) {
  EXPECT_EQ(albums("access_token=wrong").status, 400);
  const Answer suppressed = albums("access_token=wrong&suppress_http_code=1");
  EXPECT_EQ(suppressed.status, 200);
  EXPECT_EQ(suppressed.json()["error"]["code"], 190);
  EXPECT_EQ(suppressed.json()["error"]["type"], "OAuthException");
}

TEST_F(MediaService, FacebookTakesItsCursorsOnlyAsTheyAre) {
  const Answer first = albums("access_token=facebook-token-ada&limit=50");
  ASSERT_EQ(first.json()["data"].size(), 50U);
  const std::string next = targetOf(first.json()["paging"]["next"].asString());
  EXPECT_EQ(client.get(next).json()["data"].size(), 7U);
  EXPECT_FALSE(client.get(next).json()["paging"].isMember("next"));
  EXPECT_EQ(client.get(next.substr(0, next.size() - 1)).status, 400);
}

TEST_F(MediaService, FacebookShowsAVideoUnderOneSlashOrTwo) {
  const std::string id = MediaLibrary::videoId(0, 0);
  EXPECT_EQ(client.get("/facebook/v2.2/" + id + "?access_token=facebook-token-ada").json()["id"], id);
  EXPECT_EQ(client.get("/facebook/v2.2//" + id + "?access_token=facebook-token-ada").json()["id"], id);
  EXPECT_EQ(client.get("/facebook/v2.2//" + id + "?access_token=facebook-token-bruno").status, 400);
}

TEST_F(MediaService, FacebookKnowsItsObjectsAndTokens) {
  const auto code = [&](const std::string& path, const std::string& token) {
    const Answer answer = client.get("/facebook/v2.2/" + path + "?access_token=" + token);
    EXPECT_EQ(answer.status, 400) << path;
    return answer.json()["error"]["code"].asInt();
  };
  const std::string album = MediaLibrary::albumId(0, 0) + "/photos";
  for (const std::string& path :
       {std::string("me/albums"), std::string("/me/posts"), album, "/" + MediaLibrary::videoId(0, 0)}) {
    EXPECT_EQ(code(path, "wrong"), 190) << path;
  }
  EXPECT_EQ(code("1", "facebook-token-ada"), 100);
  EXPECT_EQ(code("1/photos", "facebook-token-ada"), 100);
  EXPECT_EQ(code(album, "facebook-token-bruno"), 100) << "another user's";
  EXPECT_EQ(client.post("/facebook/v2.2/me/albums?access_token=facebook-token-ada", "").status, 405);
}

TEST_F(MediaService, FacebookIgnoresWhatItDoesNotKnow) {
  const std::string plain = "access_token=facebook-token-ada&limit=2";
  const Json::Value page = albums(plain + "&pretty=0&format=json&method=get&shoe_size=44").json();
  EXPECT_EQ(page["data"], albums(plain).json()["data"]);
  EXPECT_EQ(albums("access_token=facebook-token-ada&limit=1000").json()["data"].size(), 57U);
}

TEST_F(MediaService, FlickrRefusesAChangedParameter) {
  Parameters parameters{
      {"method", "flickr.photos.getWithoutGeoData"}, {"format", "json"}, {"nojsoncallback", "1"}};
  EXPECT_EQ(flickr(parameters).json()["stat"], "ok");
  parameters.emplace_back("api_sig", "00000000000000000000000000000000");
  EXPECT_EQ(flickr(parameters).json()["code"], 96);
}

TEST_F(MediaService, FlickrTellsWhatIsWrongWithASignedRequest) {
  const std::time_t now = std::time(nullptr);
  const auto code = [&](const char* name, const char* value) {
    return oauth(now, std::string("nonce of ") + name + value, {name, value}).json()["code"].asInt();
  };
  EXPECT_EQ(code("oauth_signature", ""), 97);
  EXPECT_EQ(code("oauth_signature", "wrong"), 96);
  EXPECT_EQ(code("oauth_signature_method", "PLAINTEXT"), 96);
  EXPECT_EQ(code("oauth_version", "2.0"), 96);
  EXPECT_EQ(code("oauth_nonce", ""), 96);
  EXPECT_EQ(code("oauth_token", "unknown"), 98);
  EXPECT_EQ(code("oauth_consumer_key", "unknown"), 100);
  EXPECT_EQ(code("api_key", "unknown"), 100);
  EXPECT_EQ(code("method", "flickr.test.login"), 112);
  EXPECT_EQ(code("format", "rest"), 111);
}

TEST_F(MediaService, FlickrTellsWhatIsWrongWithAnMd5Request) {
  const Parameters list{
      {"method", "flickr.photos.getWithoutGeoData"}, {"format", "json"}, {"nojsoncallback", "1"}};
  const auto code = [&](Parameters parameters) {
    return client.get("/flickr/services/rest/?" + queryOf(parameters)).json()["code"].asInt();
  };
  Parameters known = list;
  known.emplace_back("api_key", sandbox::flickrApplicationKey);
  EXPECT_EQ(code(list), 100) << "no key";
  EXPECT_EQ(code(known), 97);
  known.emplace_back("auth_token", "unknown");
  known.emplace_back("api_sig", sandbox::flickrMd5Signature(sandbox::flickrApplicationSecret, known));
  EXPECT_EQ(code(known), 98);
  EXPECT_EQ(flickr({{"method", "flickr.photos.getWithoutGeoData"}}).json()["code"], 111);
}

TEST_F(MediaService, FlickrGivesPagesAndExtrasAsAsked) {
  const auto photos = [&](const char* page, const char* perPage, const char* extras) {
    return flickr({{"method", "flickr.photos.getWithoutGeoData"},
                   {"format", "json"},
                   {"nojsoncallback", "1"},
                   {"page", page},
                   {"per_page", perPage},
                   {"extras", extras}})
        .json()["photos"];
  };
  using Names = std::vector<std::string>;
  const Names always{"farm", "id", "secret", "server", "title"};

  EXPECT_EQ(photos("1", "50", "")["photo"][0].getMemberNames(), always);
  EXPECT_EQ(photos("1", "50", "xurl_o")["photo"][0].getMemberNames(), always);
  EXPECT_FALSE(photos("1", "50", "original_format")["photo"][0].isMember("url_o"));
  EXPECT_EQ(photos("1", "50", "original_format,url_o")["photo"][0]["originalformat"], "jpg");
  EXPECT_TRUE(photos("1", "50", "original_format,url_o")["photo"][0]["url_o"].isString());
  EXPECT_EQ(photos("3", "50", "")["photo"].size(), 37U);
  EXPECT_EQ(photos("4", "50", "")["photo"].size(), 0U);
  EXPECT_EQ(photos("1", "1000", "")["perpage"], 500);
}

TEST_F(MediaService, FlickrKnowsItsOneMethod) {
  EXPECT_EQ(
      flickr({{"method", "flickr.test.login"}, {"format", "json"}, {"nojsoncallback", "1"}}).json()["code"],
      112);
}

TEST_F(MediaService, FlickrWrapsAnAnswerThatMayCallBack) {
  const Answer answer = flickr({{"method", "flickr.photos.getWithoutGeoData"}, {"format", "json"}});
  EXPECT_TRUE(answer.body.starts_with("jsonFlickrApi("));
}

TEST_F(MediaService, FlickrRefusesAnOldTimestamp) {
  EXPECT_EQ(oauth(std::time(nullptr), "1").json()["stat"], "ok");
  EXPECT_EQ(oauth(std::time(nullptr) - 3600, "2").json()["code"], 96);
}

TEST_F(MediaService, FlickrTakesANonceOnceForItsTimestamp) {
  const std::time_t now = std::time(nullptr);
  EXPECT_EQ(oauth(now, "n").json()["stat"], "ok");
  const Json::Value again = oauth(now, "n").json();
  EXPECT_EQ(again["code"], 96);
  EXPECT_EQ(again["message"], "Invalid signature (nonce_used)");
  EXPECT_EQ(oauth(now - 1, "n").json()["stat"], "ok");
}

TEST_F(MediaService, TokensEndAfterTheirLifetime) {
  const std::string albums = "/facebook/v2.2/me/albums?access_token=facebook-token-ada";
  int first = 0;
  // On a machine that stands still a short life is over before the first request: a longer one is tried.
  for (int seconds = 1; first != 200 && seconds <= 64; seconds *= 2) {
    sandbox::SandboxOptions options;
    options.mediaTokenLifetime = std::chrono::seconds(seconds);
    sandbox::Sandbox brief(options);
    TestClient visitor(brief);
    first = visitor.get(albums).status;
    EXPECT_TRUE(waitUntil([&] { return visitor.get(albums).status == 400; }));
    EXPECT_EQ(visitor.get(albums).json()["error"]["code"], 190);
  }
  EXPECT_EQ(first, 200);
}

TEST_F(MediaService, EndedTokensAreRefusedEverywhereAndGoodInTheNextSandbox) {
  const Parameters list{
      {"method", "flickr.photos.getWithoutGeoData"}, {"format", "json"}, {"nojsoncallback", "1"}};
  ASSERT_EQ(flickr(list).json()["stat"], "ok");
  server.expireAccessTokens(server.users()[0].openId);

  EXPECT_EQ(albums("access_token=facebook-token-ada").json()["error"]["code"], 190);
  EXPECT_EQ(albums("access_token=facebook-token-bruno").status, 200);
  EXPECT_EQ(flickr(list).json()["code"], 98);
  EXPECT_EQ(oauth(std::time(nullptr), "n").json()["code"], 98);
  const sandbox::Sandbox next;
  EXPECT_EQ(TestClient(next).get("/facebook/v2.2/me/albums?access_token=facebook-token-ada").status, 200);
}

TEST_F(MediaService, FacebookGivesTheFieldsThatAreAskedForAndTheId) {
  using Names = std::vector<std::string>;
  const std::string token = "access_token=facebook-token-ada";
  const std::string album = "/facebook/v2.2/" + MediaLibrary::albumId(0, 0) + "/photos?" + token;
  const std::string video = "/facebook/v2.2//" + MediaLibrary::videoId(0, 0) + "?" + token;
  const std::string posts = "/facebook/v2.2//me/posts?" + token;

  EXPECT_EQ(albums(token + "&fields=name").json()["data"][0].getMemberNames(), (Names{"id", "name"}));
  EXPECT_EQ(client.get(album + "&fields=picture").json()["data"][0].getMemberNames(),
            (Names{"id", "picture"}));
  EXPECT_EQ(client.get(posts + "&fields=type").json()["data"][0].getMemberNames(), (Names{"id", "type"}));
  EXPECT_EQ(client.get(video + "&fields=source").json().getMemberNames(), (Names{"id", "source"}));
  EXPECT_EQ(client.get(video).json().getMemberNames(), (Names{"id", "picture", "source"}));
  const std::string next = targetOf(albums(token + "&limit=2&fields=id").json()["paging"]["next"].asString());
  EXPECT_EQ(client.get(next).json()["data"][0].getMemberNames(), (Names{"id"}));
}

TEST_F(MediaService, FacebookRefusesAFieldThatIsNone) {
  const std::string token = "access_token=facebook-token-ada&fields=id,shoe_size";
  for (const std::string& path : {std::string("me/albums"), std::string("/me/posts"),
                                  MediaLibrary::albumId(0, 0) + "/photos", MediaLibrary::videoId(0, 0)}) {
    const Answer answer = client.get("/facebook/v2.2/" + path + "?" + token);
    EXPECT_EQ(answer.status, 400) << path;
    EXPECT_EQ(answer.json()["error"]["code"], 100) << path;
    EXPECT_EQ(answer.json()["error"]["message"], "(#100) Tried accessing nonexisting field (shoe_size)")
        << path;
  }
}

TEST_F(MediaService, InstagramRefusesUnsignedAndWronglySignedRequests) {
  const std::string path = "/instagram/v1/users/self/media/recent/?access_token=instagram-token-ada";
  const Answer unsignedRequest = client.get(path);
  EXPECT_EQ(unsignedRequest.status, 403);
  EXPECT_EQ(unsignedRequest.json()["meta"]["error_type"], "OAuthForbiddenException");
  EXPECT_EQ(client.get(path + "&sig=00").json()["meta"]["code"], 403);
}

TEST_F(MediaService, InstagramTellsWhatIsWrongWithASignedRequest) {
  const auto type = [](const Answer& answer) {
    EXPECT_EQ(answer.status, 400);
    EXPECT_EQ(answer.json()["meta"]["code"], 400);
    return answer.json()["meta"]["error_type"].asString();
  };
  EXPECT_EQ(type(instagram("unknown")), "OAuthAccessTokenException");
  for (const char* id : {"7", "17_x", "", "17_"}) {
    EXPECT_EQ(type(instagram(account.instagramToken, {{"max_id", id}})), "APIInvalidParametersError") << id;
  }
  server.expireAccessTokens(server.users()[0].openId);
  EXPECT_EQ(type(instagram(account.instagramToken)), "OAuthAccessTokenException");
  EXPECT_EQ(client.post("/instagram/v1/users/self/media/recent/", "").status, 405);
}

TEST_F(MediaService, InstagramGivesPagesOfThirtyThreeAtMost) {
  const Json::Value first = instagram(account.instagramToken, {{"count", "30"}}).json();
  EXPECT_EQ(first["data"].size(), 30U);
  const std::string next = first["pagination"]["next_max_id"].asString();
  const Json::Value second = instagram(account.instagramToken, {{"count", "100"}, {"max_id", next}}).json();
  EXPECT_EQ(second["data"].size(), 33U);
  const std::string last = second["pagination"]["next_max_id"].asString();
  const Json::Value third = instagram(account.instagramToken, {{"max_id", last}, {"shoe_size", "44"}}).json();
  EXPECT_EQ(third["data"].size(), 12U);
  EXPECT_FALSE(third.isMember("pagination"));
}

TEST_F(MediaService, SignaturesFollowFromKnownAnswers) {
  // The example of OAuth Core 1.0, appendix A.5.
  EXPECT_EQ(sandbox::oauthSignature("http://photos.example.net/photos",
                                    {{"file", "vacation.jpg"},
                                     {"size", "original"},
                                     {"oauth_version", "1.0"},
                                     {"oauth_consumer_key", "dpf43f3p2l4k3l03"},
                                     {"oauth_token", "nnch734d00sl2jdk"},
                                     {"oauth_timestamp", "1191242096"},
                                     {"oauth_nonce", "kllo9940pd9333jh"},
                                     {"oauth_signature_method", "HMAC-SHA1"}},
                                    "kd94hf93k423kf44", "pfkkdhi9sl3r4s00"),
            "tR3+Ty81lMeYAr/Fid0kMTYa/WM=");
  // printf %s 'SECRETapi_key9a0554259914a86fmethodx' | md5sum
  EXPECT_EQ(sandbox::flickrMd5Signature("SECRET", {{"method", "x"}, {"api_key", "9a0554259914a86f"}}),
            "fc4669ad6fd2123073c2782d98cac35c");
  EXPECT_EQ(sandbox::instagramSignature("/e", {{"b", "2"}, {"a", "1"}, {"sig", "x"}}, "k"),
            "bd06f7d489ae6095be159a05cb2c4bdf902b182da7ee897d91ed60b011829373");
}

TEST_F(MediaService, PicturesAreJpegsOfTheirSizeAndTheSameEachTime) {
  const Answer answer = client.get(MediaLibrary::picturePath("42", 97, 33));
  EXPECT_EQ(answer.header("Content-Type"), "image/jpeg");
  EXPECT_TRUE(answer.body.starts_with("\xFF\xD8\xFF\xE0"));
  EXPECT_TRUE(answer.body.ends_with("\xFF\xD9"));
  const std::size_t frame = answer.body.find(std::string("\xFF\xC0\0\x11\x08\0\x21\0\x61", 9));
  EXPECT_NE(frame, std::string::npos);
  EXPECT_EQ(client.get(MediaLibrary::picturePath("42", 97, 33)).body, answer.body);
  EXPECT_NE(client.get(MediaLibrary::picturePath("43", 97, 33)).body, answer.body);
}

TEST_F(MediaService, VideosAreMp4) {
  const Answer answer = client.get(MediaLibrary::videoPath("42"));
  EXPECT_EQ(answer.header("Content-Type"), "video/mp4");
  EXPECT_EQ(answer.body.substr(4, 4), "ftyp");
  EXPECT_EQ(answer.body, sandbox::makeMp4(320, 180, 30, 42));
}

TEST_F(MediaService, FilesWithOtherNamesAreNotThere) {
  for (const char* name :
       {"42_97x33.png", "42.jpg", "42_x33.jpg", "42_0x5.jpg", "42_5000x5.jpg", "a_5x5.jpg"}) {
    EXPECT_EQ(client.get(std::string("/media/pictures/") + name).status, 404) << name;
    EXPECT_EQ(client.get(std::string("/sandbox/media/") + name).status, 404) << name;
  }
  EXPECT_EQ(client.get("/media/videos/x.mp4").status, 404);
  EXPECT_EQ(client.get("/flickr/farm5/65535/7_wrong_t.jpg").status, 404);
  EXPECT_EQ(client.get("/flickr/farm5/65535/7_5ec4e7_t.jpg").status, 200);
}

}  // namespace
