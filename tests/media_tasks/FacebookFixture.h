#pragma once

#include "media_tasks/ListFixture.h"

#include <string>

/// The query behind the token of most of the service's addresses.
inline constexpr const char* plainReply = "&format=json&method=get&pretty=0&suppress_http_code=1";

class FacebookFixture : public ListFixture {
 protected:
  /// The member of a page that leads to the next one.
  [[nodiscard]] std::string next(const std::string& target) const {
    return R"(,"paging":{"next":")" + fetcher.url() + target + R"("})";
  }
};
