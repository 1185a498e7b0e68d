#pragma once

/// Public addresses that are the same for every installation, so that no configuration names them.
namespace KBL::Endpoint {
inline constexpr const char* youtubeHost = "https://www.youtube.com";
inline constexpr const char* googleScopeHost = "https://www.googleapis.com";  ///< of Google's OAuth scopes
}  // namespace KBL::Endpoint
