#pragma once
#include <optional>
#include <string>
#include <string_view>

namespace sandbox {

// One kind of exchange that the sandbox serves. Requests are counted, recorded and disturbed by route.
enum class Route {
  clientCredentials,     // POST  application secret -> account token
  session,               // POST  opens a login session
  consentPage,           // GET and POST of the page in the person's browser
  code,                  // GET   asks whether a login session has ended
  token,                 // POST  refresh token -> new platform tokens
  consume,               // POST  usage entitlement
  callbackPage,          // GET   the page that closes a login in the browser
  googleUserInfo,        // GET
  youtubeCategories,     // GET
  youtubeUploadOpen,     // POST  opens a resumable upload
  youtubeUploadChunk,    // PUT   one chunk, or a status query
  tiktokUserInfo,        // POST
  tiktokUpload,          // POST  a video as a form
  douyinUserInfo,        // GET
  douyinUploadInit,      // POST  opens an upload in parts
  douyinUploadPart,      // POST  one part
  douyinUploadComplete,  // POST
  avatar,                // GET   a user's picture
  facebookAlbums,        // GET   a user's albums
  facebookPosts,         // GET   a user's posts, videos among them
  facebookObject,        // GET   one album's photos, or one video
  flickrPhotos,          // GET   a user's photos, under either signature
  instagramMedia,        // GET   a user's recent media
  mediaPicture,          // GET   a picture of any media service
  mediaVideo,            // GET   a video of any media service
  inspection,            // everything below /sandbox/ (never disturbed by faults)
  unknown                // everything else; answered 404
};

// The route's name as the inspection routes and the log use it, such as "youtubeUploadChunk".
[[nodiscard]] std::string_view routeName(Route route);
[[nodiscard]] std::optional<Route> routeFromName(std::string_view name);

}  // namespace sandbox
