#pragma once

#include <json/forwards.h>

#include <optional>
#include <string>

namespace KBL {

// Addresses of the Graph API. Tokens and ids stand in them as they are.
[[nodiscard]] std::string facebookAlbumsUrl(const std::string& token);
[[nodiscard]] std::string facebookPostsUrl(const std::string& token);
[[nodiscard]] std::string facebookPhotosUrl(const std::string& albumId, const std::string& token);
[[nodiscard]] std::string facebookVideoUrl(const std::string& objectId, const std::string& token);

/// The service's own error.
struct FacebookFailure {
  int code = 0;
  std::string message;
};

/// The list of a page, or a null value. One that is no list has no elements.
[[nodiscard]] const Json::Value& facebookData(const Json::Value& page);
/// The address of the next page as it came, or nothing.
[[nodiscard]] std::string facebookNextPage(const Json::Value& page);
/// The error that a page holds in place of a list.
[[nodiscard]] std::optional<FacebookFailure> facebookFailure(const Json::Value& page);

}  // namespace KBL
