#include "sandbox/Route.h"

#include <array>
#include <utility>

namespace sandbox {

namespace {

constexpr std::array<std::pair<Route, std::string_view>, 27> kNames{{
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
    {Route::inspection, "inspection"},
    {Route::unknown, "unknown"},
}};

}  // namespace

std::string_view routeName(Route route) {
  for (const auto& [known, name] : kNames) {
    if (known == route) return name;
  }
  return "unknown";
}

std::optional<Route> routeFromName(std::string_view name) {
  for (const auto& [route, known] : kNames) {
    if (known == name) return route;
  }
  return std::nullopt;
}

}  // namespace sandbox
