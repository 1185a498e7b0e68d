#pragma once

#include "sandbox/base/MediaAccounts.h"
#include <ExternlMediaTransfer/ExternlMediaPlatform.h>
#include <ExternlMediaTransfer/TransferNumbers.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace host {

/// How a platform takes an upload through its manager.
struct NativeUpload {
  enum class Unsent { categoryAndThumbnail, allButTheVideo };
  Unsent unsent;         ///< what of a record its service has no place for
  bool stopCutsOff;      ///< a stop cuts the transfer off; elsewhere the part on its way comes to its end
  bool completesAlways;  ///< what began is completed, stopped or failed, and a good end is told twice
  std::uint64_t tooLargeMiB = 0;  ///< the library refuses a file of so many; 0: of no size
};

/// A platform as the commands name it: its numbers in the library's two numberings, and all in which the
/// platforms differ.
struct Platform {
  std::string_view name;
  int transferPlatform;                ///< argument of createEMTUpTransfer
  int manager;                         ///< argument of getOrCreateExternlMediaAuthorize; ema_none: none
  std::optional<NativeUpload> native;  ///< nothing: uploads go through the script
  std::size_t longestTitle;        ///< characters that its service takes; 0: it takes none, or sets no limit
  std::string_view unfitForTitle;  ///< letters that its service takes in no text
  /// The words of `--privacy`, divided by blanks; empty: it takes none.
  std::string_view privacyWords;
  /// Keys of the services that its script asks, null where there are fewer; none: it has no script.
  std::array<const char*, 5> scriptServices;

  [[nodiscard]] constexpr bool hasScript() const { return scriptServices.front() != nullptr; }
};

inline constexpr std::array<Platform, 8> platforms{{
    {"youtube",
     KBL::transferYoutube,
     KBL::ema_youtube,
     NativeUpload{NativeUpload::Unsent::categoryAndThumbnail, false, false},
     100,
     "<>",
     "private unlisted public",
     {"googleLogin", "googleToken", "googleRevoke", "youtubeApi", "youtubeUpload"}},
    {"tiktok",
     KBL::transferTiktok,
     KBL::ema_tiktok,
     NativeUpload{NativeUpload::Unsent::allButTheVideo, true, false, 50},
     0,
     "",
     "",
     {}},
    {"douyin",
     KBL::transferDouyin,
     KBL::ema_douyin,
     NativeUpload{NativeUpload::Unsent::allButTheVideo, false, true, 128},
     0,
     "",
     "",
     {}},
    {"vimeo",
     KBL::transferVimeo,
     KBL::ema_vimeo,
     {},
     128,
     "",
     "private nobody unlisted friends contacts disable public anybody",
     {"vimeoLogin", "vimeoToken", "vimeoApi"}},
    {"facebook",
     KBL::transferFacebook,
     KBL::ema_none,
     {},
     255,
     "",
     "private self friends all_friends friends_of_friends public everyone",
     {"facebookLogin", "facebookGraph", "facebookGraphVideo"}},
    {"flickr",
     KBL::transferFlickr,
     KBL::ema_none,
     {},
     255,
     "",
     "private family friends friends_family public",
     {"flickrOauth", "flickrRest", "flickrUpload"}},
    {"instagram",
     KBL::transferInstagram,
     KBL::ema_none,
     {},
     0,
     "",
     "",
     {"instagramLogin", "instagramGraph", "instagramUpload"}},
    {"twitch",
     KBL::transferTwitch,
     KBL::ema_none,
     {},
     100,
     "",
     "private public",
     {"twitchLogin", "twitchToken", "twitchRevoke", "twitchHelix", "twitchApi"}},
}};

/// Null for a name that is none of these.
[[nodiscard]] constexpr const Platform* findPlatform(std::string_view name) {
  for (const Platform& platform : platforms) {
    if (platform.name == name) return &platform;
  }
  return nullptr;
}

/// A service whose media can be listed.
struct MediaService {
  std::string_view name;
  int listCommand;        ///< of a download transfer
  bool hasAlbums;         ///< media lie in albums, which can be listed
  bool signsEachRequest;  ///< with the key and the secret of an application
  const char* hostKey;    ///< of the cloud configuration
  std::string sandbox::MediaAccount::*standInToken;
};

inline constexpr std::array<MediaService, 3> mediaServices{{
    {"facebook", KBL::commandListFacebookMedia, true, false, "urlMediaFacebookGraph",
     &sandbox::MediaAccount::facebookToken},
    {"flickr", KBL::commandListFlickrMedia, false, true, "urlMediaFlickrRest",
     &sandbox::MediaAccount::flickrPair},
    {"instagram", KBL::commandListInstagramMedia, false, false, "urlMediaInstagramApi",
     &sandbox::MediaAccount::instagramToken},
}};

}  // namespace host
