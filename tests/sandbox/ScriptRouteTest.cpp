#include "sandbox/LoginVisit.h"
#include "sandbox/OauthSteps.h"
#include "sandbox/Sandbox.h"
#include "sandbox/TestClient.h"
#include "support/TemporaryDirectory.h"

#include <gtest/gtest.h>

namespace {

using sandbox::Route;

struct Place {
  Route route;
  const char* method;
  const char* target;
};

constexpr Place places[] = {
    {Route::facebookLogin, "GET", "/facebook/v24.0/dialog/oauth"},
    {Route::facebookToken, "GET", "/facebook/v24.0/oauth/access_token"},
    {Route::facebookProfile, "GET", "/facebook/v24.0/me"},
    {Route::facebookFeed, "POST", "/facebook/v24.0/me/feed"},
    {Route::facebookPermissions, "DELETE", "/facebook/v24.0/me/permissions"},
    {Route::facebookVideos, "POST", "/facebook-video/v24.0/me/videos"},
    {Route::facebookVideo, "GET", "/facebook/v24.0/1"},
    {Route::facebookVideo, "DELETE", "/facebook/v24.0/1"},
    {Route::vimeoLogin, "GET", "/vimeo/oauth/authorize"},
    {Route::vimeoToken, "POST", "/vimeo/oauth/access_token"},
    {Route::vimeoProfile, "GET", "/vimeo/me"},
    {Route::vimeoCategories, "GET", "/vimeo/categories"},
    {Route::vimeoTokens, "DELETE", "/vimeo/tokens"},
    {Route::vimeoVideos, "POST", "/vimeo/me/videos"},
    {Route::vimeoUpload, "PATCH", "/vimeo-files/upload/x"},
    {Route::vimeoUpload, "HEAD", "/vimeo-files/upload/x"},
    {Route::vimeoDetails, "GET", "/vimeo/videos/1"},
    {Route::vimeoDetails, "DELETE", "/vimeo/videos/1"},
    {Route::vimeoDetails, "PUT", "/vimeo/videos/1/tags"},
    {Route::vimeoDetails, "POST", "/vimeo/videos/1/pictures"},
    {Route::vimeoDetails, "PATCH", "/vimeo/videos/1/pictures/2"},
    {Route::vimeoPicture, "PUT", "/vimeo-files/pictures/1/2"},
    {Route::googleLogin, "GET", "/google/o/oauth2/v2/auth"},
    {Route::googleToken, "POST", "/google/token"},
    {Route::googleRevoke, "POST", "/google/revoke"},
    {Route::youtubeChannels, "GET", "/youtube/v3/channels"},
    {Route::youtubeUploadOpen, "POST", "/youtube-scripts/upload/v3/videos"},
    {Route::youtubeUploadChunk, "PUT", "/youtube-scripts/upload/v3/videos"},
    {Route::youtubeThumbnail, "POST", "/youtube-scripts/upload/v3/thumbnails/set"},
    {Route::instagramLogin, "GET", "/instagram-login/v24.0/dialog/oauth"},
    {Route::instagramToken, "GET", "/instagram-graph/v24.0/oauth/access_token"},
    {Route::instagramAccounts, "GET", "/instagram-graph/v24.0/me/accounts"},
    {Route::instagramContainer, "POST", "/instagram-graph/v24.0/1/media"},
    {Route::instagramPublish, "POST", "/instagram-graph/v24.0/1/media_publish"},
    {Route::instagramStatus, "GET", "/instagram-graph/v24.0/1"},
    {Route::instagramStatus, "GET", "/instagram-graph/v24.0/1/media"},
    {Route::instagramUpload, "POST", "/instagram-upload/v24.0/1"},
    {Route::twitchLogin, "GET", "/twitch/oauth2/authorize"},
    {Route::twitchToken, "POST", "/twitch/oauth2/token"},
    {Route::twitchRevoke, "POST", "/twitch/oauth2/revoke"},
    {Route::twitchUsers, "GET", "/twitch/helix/users"},
    {Route::twitchVideos, "POST", "/twitch/kraken/videos"},
    {Route::twitchVideo, "GET", "/twitch/kraken/videos/1"},
    {Route::twitchVideo, "DELETE", "/twitch/kraken/videos/1"},
    {Route::twitchPart, "PUT", "/twitch-upload/upload/1"},
    {Route::twitchComplete, "POST", "/twitch-upload/upload/1/complete"},
    {Route::flickrRequestToken, "GET", "/flickr-scripts/oauth/request_token"},
    {Route::flickrRequestToken, "POST", "/flickr-scripts/oauth/request_token"},
    {Route::flickrLogin, "GET", "/flickr-scripts/oauth/authorize"},
    {Route::flickrToken, "GET", "/flickr-scripts/oauth/access_token"},
    {Route::flickrToken, "POST", "/flickr-scripts/oauth/access_token"},
    {Route::flickrMethods, "GET", "/flickr-scripts/rest"},
    {Route::flickrUpload, "POST", "/flickr-scripts/upload"},
};

class ScriptRoutes : public testing::Test {
 protected:
  Answer ask(const Place& place) {
    const std::string method = place.method;
    if (method == "POST") return client.post(place.target, "");
    if (method == "PUT") return client.put(place.target, "");
    if (method == "PATCH") return client.patch(place.target, "");
    if (method == "DELETE") return client.remove(place.target);
    if (method == "HEAD") return client.head(place.target);
    return client.get(place.target);
  }

  sandbox::Sandbox server;
  TestClient client{server};
};

TEST_F(ScriptRoutes, EachIsServedUnderItsNameAndDisturbed) {
  for (const Place& place : places) {
    const auto before = server.requestCount(place.route);
    const auto fault = server.orderFault(place.route, sandbox::Fault::status(418));
    EXPECT_EQ(ask(place).status, 418) << place.method << " " << place.target;
    EXPECT_EQ(server.faultsDelivered(fault), 1U) << place.method << " " << place.target;
    const Answer answer = ask(place);
    EXPECT_TRUE(answer.arrived) << place.target;
    EXPECT_NE(answer.status, 405) << place.method << " " << place.target;
    EXPECT_EQ(server.requestCount(place.route), before + 2) << place.method << " " << place.target;
  }
}

TEST_F(ScriptRoutes, NoneAnswersAnotherMethod) {
  EXPECT_EQ(client.post("/facebook/v24.0/me", "").status, 405);
  EXPECT_EQ(client.get("/google/token").status, 405);
  EXPECT_EQ(client.get("/instagram-upload/v24.0/1").status, 405);
  EXPECT_EQ(client.post("/instagram-graph/v24.0//media", "").status, 405) << "no user in front of the ending";
}

TEST_F(ScriptRoutes, VisitTellsWhereAPageLeads) {
  const std::string login = server.baseUrl() + targetWith("/vimeo/oauth/authorize", loginFields());
  const std::string address = sandbox::redirectOf(server, login);
  EXPECT_TRUE(address.starts_with(std::string(appRedirect) + "?code=")) << address;
  EXPECT_TRUE(address.ends_with("&state=state%201")) << "as it was sent: " << address;

  EXPECT_EQ(sandbox::redirectOf(server, server.baseUrl() + "/sandbox/uploads"), "");
  EXPECT_EQ(sandbox::redirectOf(server, "http://127.0.0.1:1/vimeo/oauth/authorize"), "");
  EXPECT_EQ(sandbox::redirectOf(server, login + "\r\nX: y"), "");
  server.setListening(false);
  EXPECT_EQ(sandbox::redirectOf(server, login), "");
}

TEST_F(ScriptRoutes, EachHasAName) {
  for (const Place& place : places) {
    EXPECT_EQ(sandbox::routeFromName(sandbox::routeName(place.route)), place.route) << place.target;
  }
}

TEST(ScriptState, TokensOutliveTheProcessInTheStateFolder) {
  const TemporaryDirectory folder;
  sandbox::SandboxOptions options;
  options.stateDir = folder.file("state");
  std::string token;
  {
    sandbox::Sandbox first(options);
    token = first.issueTokens(sandbox::Platform::twitch).accessToken;
  }
  const sandbox::Sandbox second(options);
  TestClient client(second);

  EXPECT_EQ(client.get("/twitch/helix/users", {bearer(token), {"Client-Id", appId}}).status, 200);
  EXPECT_EQ(client.get("/vimeo/me", {bearer(token)}).status, 401) << "of another service";
}

}  // namespace
