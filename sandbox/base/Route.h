#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace sandbox {

/// One kind of exchange that the sandbox serves. Requests are counted, recorded and disturbed by route.
enum class Route {
  clientCredentials,     ///< POST  application secret -> account token
  session,               ///< POST  opens a login session
  consentPage,           ///< GET and POST of the page in the person's browser
  code,                  ///< GET   asks whether a login session has ended
  token,                 ///< POST  refresh token -> new platform tokens
  consume,               ///< POST  usage entitlement
  callbackPage,          ///< GET   the page that closes a login in the browser
  googleUserInfo,        ///< GET
  youtubeCategories,     ///< GET
  youtubeUploadOpen,     ///< POST  opens a resumable upload
  youtubeUploadChunk,    ///< PUT   one chunk, or a status query
  tiktokUserInfo,        ///< POST
  tiktokUpload,          ///< POST  a video as a form
  douyinUserInfo,        ///< GET
  douyinUploadInit,      ///< POST  opens an upload in parts
  douyinUploadPart,      ///< POST  one part
  douyinUploadComplete,  ///< POST
  avatar,                ///< GET   a user's picture
  facebookAlbums,        ///< GET   a user's albums
  facebookPosts,         ///< GET   a user's posts, videos among them
  facebookObject,        ///< GET   one album's photos, or one video
  flickrPhotos,          ///< GET   a user's photos, under either signature
  instagramMedia,        ///< GET   a user's recent media
  mediaPicture,          ///< GET   a picture of any media service
  mediaVideo,            ///< GET   a video of any media service
  facebookLogin,         ///< GET   the login page
  facebookToken,         ///< GET   code -> token, short-lived token -> long-lived one
  facebookProfile,       ///< GET
  facebookFeed,          ///< POST  a post with a link
  facebookPermissions,   ///< DELETE
  facebookVideos,        ///< POST  all phases of a video upload
  facebookVideo,         ///< GET and DELETE of one video
  vimeoLogin,            ///< GET   the login page
  vimeoToken,            ///< POST  code -> token
  vimeoProfile,          ///< GET
  vimeoCategories,       ///< GET
  vimeoTokens,           ///< DELETE
  vimeoVideos,           ///< POST  opens a video with its upload
  vimeoUpload,           ///< HEAD and PATCH of the bytes
  vimeoDetails,          ///< a video itself, and its tags, categories and pictures
  vimeoPicture,          ///< PUT   a thumbnail's bytes
  googleLogin,           ///< GET   the login page
  googleToken,           ///< POST  code or refresh token -> token
  googleRevoke,          ///< POST
  youtubeChannels,       ///< GET
  youtubeThumbnail,      ///< POST
  instagramLogin,        ///< GET   the login page
  instagramToken,        ///< GET   code -> token, short-lived token -> long-lived one
  instagramAccounts,     ///< GET   the pages of a user, and the accounts behind them
  instagramContainer,    ///< POST  opens a container
  instagramUpload,       ///< POST  the bytes
  instagramStatus,       ///< GET   a container, a published video, or the list of those
  instagramPublish,      ///< POST
  twitchLogin,           ///< GET   the login page
  twitchToken,           ///< POST  code or refresh token -> token
  twitchRevoke,          ///< POST
  twitchUsers,           ///< GET
  twitchVideos,          ///< POST  opens a video
  twitchVideo,           ///< GET and DELETE of one video
  twitchPart,            ///< PUT   one part
  twitchComplete,        ///< POST
  flickrRequestToken,    ///< GET and POST
  flickrLogin,           ///< GET   the login page
  flickrToken,           ///< GET and POST  verifier -> token
  flickrMethods,         ///< GET   the methods of the REST endpoint
  flickrUpload,          ///< POST  a photo or video
  inspection,            ///< everything below /sandbox/ (never disturbed by faults)
  unknown                ///< everything else; answered 404
};

/// The route's name as the inspection routes and the log use it, such as "youtubeUploadChunk".
[[nodiscard]] std::string_view routeName(Route route);
/// Of all routes.
[[nodiscard]] std::vector<std::string_view> routeNames();
[[nodiscard]] std::optional<Route> routeFromName(std::string_view name);

}  // namespace sandbox
