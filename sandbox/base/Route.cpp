#include "sandbox/base/Route.h"

#include <array>
#include <utility>

namespace sandbox {

namespace {

constexpr std::array<std::pair<Route, std::string_view>, 68> names{{
    {Route::clientCredentials, "clientCredentials"},
    {Route::session, "session"},
    {Route::consentPage, "consentPage"},
    {Route::code, "code"},
    {Route::token, "token"},
    {Route::consume, "consume"},
    {Route::callbackPage, "callbackPage"},
    {Route::googleUserInfo, "googleUserInfo"},
    {Route::youtubeCategories, "youtubeCategories"},
    {Route::youtubeUploadOpen, "youtubeUploadOpen"},
    {Route::youtubeUploadChunk, "youtubeUploadChunk"},
    {Route::tiktokUserInfo, "tiktokUserInfo"},
    {Route::tiktokUpload, "tiktokUpload"},
    {Route::douyinUserInfo, "douyinUserInfo"},
    {Route::douyinUploadInit, "douyinUploadInit"},
    {Route::douyinUploadPart, "douyinUploadPart"},
    {Route::douyinUploadComplete, "douyinUploadComplete"},
    {Route::avatar, "avatar"},
    {Route::facebookAlbums, "facebookAlbums"},
    {Route::facebookPosts, "facebookPosts"},
    {Route::facebookObject, "facebookObject"},
    {Route::flickrPhotos, "flickrPhotos"},
    {Route::instagramMedia, "instagramMedia"},
    {Route::mediaPicture, "mediaPicture"},
    {Route::mediaVideo, "mediaVideo"},
    {Route::facebookLogin, "facebookLogin"},
    {Route::facebookToken, "facebookToken"},
    {Route::facebookProfile, "facebookProfile"},
    {Route::facebookFeed, "facebookFeed"},
    {Route::facebookPermissions, "facebookPermissions"},
    {Route::facebookVideos, "facebookVideos"},
    {Route::facebookVideo, "facebookVideo"},
    {Route::vimeoLogin, "vimeoLogin"},
    {Route::vimeoToken, "vimeoToken"},
    {Route::vimeoProfile, "vimeoProfile"},
    {Route::vimeoCategories, "vimeoCategories"},
    {Route::vimeoTokens, "vimeoTokens"},
    {Route::vimeoVideos, "vimeoVideos"},
    {Route::vimeoUpload, "vimeoUpload"},
    {Route::vimeoDetails, "vimeoDetails"},
    {Route::vimeoPicture, "vimeoPicture"},
    {Route::googleLogin, "googleLogin"},
    {Route::googleToken, "googleToken"},
    {Route::googleRevoke, "googleRevoke"},
    {Route::youtubeChannels, "youtubeChannels"},
    {Route::youtubeThumbnail, "youtubeThumbnail"},
    {Route::instagramLogin, "instagramLogin"},
    {Route::instagramToken, "instagramToken"},
    {Route::instagramAccounts, "instagramAccounts"},
    {Route::instagramContainer, "instagramContainer"},
    {Route::instagramUpload, "instagramUpload"},
    {Route::instagramStatus, "instagramStatus"},
    {Route::instagramPublish, "instagramPublish"},
    {Route::twitchLogin, "twitchLogin"},
    {Route::twitchToken, "twitchToken"},
    {Route::twitchRevoke, "twitchRevoke"},
    {Route::twitchUsers, "twitchUsers"},
    {Route::twitchVideos, "twitchVideos"},
    {Route::twitchVideo, "twitchVideo"},
    {Route::twitchPart, "twitchPart"},
    {Route::twitchComplete, "twitchComplete"},
    {Route::flickrRequestToken, "flickrRequestToken"},
    {Route::flickrLogin, "flickrLogin"},
    {Route::flickrToken, "flickrToken"},
    {Route::flickrMethods, "flickrMethods"},
    {Route::flickrUpload, "flickrUpload"},
    {Route::inspection, "inspection"},
    {Route::unknown, "unknown"},
}};

}  // namespace

std::string_view routeName(Route route) {
  for (const auto& [known, name] : names) {
    if (known == route) return name;
  }
  return "unknown";
}

std::vector<std::string_view> routeNames() {
  std::vector<std::string_view> all;
  for (const auto& [route, name] : names) all.push_back(name);
  return all;
}

std::optional<Route> routeFromName(std::string_view name) {
  for (const auto& [route, known] : names) {
    if (known == name) return route;
  }
  return std::nullopt;
}

}  // namespace sandbox
