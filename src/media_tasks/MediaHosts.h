#pragma once

#include <string>

namespace KBL {

/// Where the media services are. Scheme and host, with a port and a path prefix where there is one, without a
/// slash at the end.
namespace MediaHost {
inline constexpr const char* facebookGraph = "https://graph.facebook.com";
inline constexpr const char* flickrRest = "https://api.flickr.com";
inline constexpr const char* flickrPhoto = "https://farm%d.staticflickr.com";  ///< "%d": the farm's number
inline constexpr const char* instagramApi = "https://api.instagram.com";
}  // namespace MediaHost

// The same as the cloud configuration has it; the constant where there is no configuration or it lacks the
// key. Any thread.
[[nodiscard]] std::string facebookGraphHost();
[[nodiscard]] std::string flickrRestHost();
[[nodiscard]] std::string instagramApiHost();

/// The hosts of Flickr's photos, looked up once for a page of them.
class FlickrPhotoHosts {
 public:
  FlickrPhotoHosts();
  /// Adds the host of a farm with this number to an address.
  void append(std::string& url, int farm) const;

 private:
  std::string beforeFarm_;  ///< all of it, where the farm has no place in it
  std::string behindFarm_;
  bool hasFarm_ = false;
};

}  // namespace KBL
