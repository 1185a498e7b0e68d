#include "media_tasks/MediaHosts.h"

#include <BsCloudConfig/BsCloudConfig.h>

#include <array>

namespace KBL {

namespace {

constexpr std::string_view farmMark = "%d";

std::string hostForKey(const char* key, const char* otherwise) {
  IBsCloudConfigManager* const manager = getBsCloudConfigManager();
  IBsUrlConfig* const config = manager == nullptr ? nullptr : manager->urlConfig();
  if (config == nullptr) return otherwise;
  // One more than the configuration may fill, so that the text ends whatever it writes.
  std::array<char, urlBufferSize + 1> buffer{};
  config->urlForKey(key, buffer.data(), 0);
  return buffer[0] == '\0' ? otherwise : buffer.data();
}

}  // namespace

std::string facebookGraphHost() {
  return hostForKey("urlMediaFacebookGraph", MediaHost::facebookGraph);
}

std::string flickrRestHost() {
  return hostForKey("urlMediaFlickrRest", MediaHost::flickrRest);
}

std::string instagramApiHost() {
  return hostForKey("urlMediaInstagramApi", MediaHost::instagramApi);
}

FlickrPhotoHosts::FlickrPhotoHosts()
    : beforeFarm_(hostForKey("urlMediaFlickrPhoto", MediaHost::flickrPhoto)) {
  // A configured text is never a format: the mark is replaced as text.
  const std::size_t mark = beforeFarm_.find(farmMark);
  if (mark == std::string::npos) return;
  hasFarm_ = true;
  behindFarm_ = beforeFarm_.substr(mark + farmMark.size());
  beforeFarm_.resize(mark);
}

void FlickrPhotoHosts::append(std::string& url, int farm) const {
  url += beforeFarm_;
  if (hasFarm_) (url += std::to_string(farm)) += behindFarm_;
}

}  // namespace KBL
