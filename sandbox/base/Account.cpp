#include "sandbox/base/Account.h"

namespace sandbox {

std::string platformName(Platform platform) {
  switch (platform) {
    case Platform::youtube:
      return "YouTube";
    case Platform::vimeo:
      return "Vimeo";
    case Platform::tiktok:
      return "TikTok";
    case Platform::douyin:
      return "Douyin";
    case Platform::facebook:
      return "Facebook";
    case Platform::flickr:
      return "Flickr";
    case Platform::instagram:
      return "Instagram";
    case Platform::twitch:
      return "Twitch";
  }
  return {};
}

const char* decisionName(Decision decision) {
  switch (decision) {
    case Decision::allowed:
      return "allowed";
    case Decision::denied:
      return "denied";
    default:
      return "pending";
  }
}

}  // namespace sandbox
