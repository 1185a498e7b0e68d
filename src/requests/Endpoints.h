#pragma once

namespace KBL {

/// Public addresses that are the same for every installation, so that no configuration names them.
namespace Endpoint {
inline constexpr const char* youtubeHost = "https://www.youtube.com";
}  // namespace Endpoint

}  // namespace KBL
