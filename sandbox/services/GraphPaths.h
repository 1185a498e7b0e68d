#pragma once

namespace sandbox {

/// Where the stand-ins of Facebook and Instagram serve the Graph API to scripts: in the one version that
/// these speak (`GRAPH_VERSION` in pysocialnetwork/services.py).
struct GraphPaths {
  static constexpr const char* facebookLogin = "/facebook/v24.0/dialog/oauth";
  static constexpr const char* facebook = "/facebook/v24.0";
  static constexpr const char* facebookVideos = "/facebook-video/v24.0";
  static constexpr const char* instagramLogin = "/instagram-login/v24.0/dialog/oauth";
  static constexpr const char* instagram = "/instagram-graph/v24.0";
  static constexpr const char* instagramUploads = "/instagram-upload/v24.0";
};

}  // namespace sandbox
