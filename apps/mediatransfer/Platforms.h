#pragma once

#include <array>
#include <string_view>

namespace host {

/// A platform as the commands name it, and its numbers in the library's two numberings.
struct Platform {
  std::string_view name;
  int transferPlatform;  ///< argument of createEMTUpTransfer
  int manager;           ///< argument of getOrCreateExternlMediaAuthorize; -1: none
  bool nativeUpload;     ///< uploads through its manager; the others through a script
  bool hasScript;
};

inline constexpr std::array<Platform, 8> platforms{{
    {"youtube", 1, 0, true, true},
    {"tiktok", 6, 2, true, false},
    {"douyin", 7, 3, true, false},
    {"vimeo", 2, 1, false, true},
    {"facebook", 0, -1, false, true},
    {"flickr", 3, -1, false, true},
    {"instagram", 4, -1, false, true},
    {"twitch", 5, -1, false, true},
}};

/// Null for a name that is none of these.
[[nodiscard]] constexpr const Platform* findPlatform(std::string_view name) {
  for (const Platform& platform : platforms) {
    if (platform.name == name) return &platform;
  }
  return nullptr;
}

}  // namespace host
