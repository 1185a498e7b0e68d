#include "sandbox/services/SameOrigin.h"

#include "sandbox/base/Text.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

namespace sandbox {

namespace {

bool isThisMachine(std::string_view authority) {
  constexpr std::array<std::string_view, 3> names = {"127.0.0.1", "localhost", "[::1]"};
  const std::size_t colon = authority.rfind(':');
  const bool hasPort =
      colon != std::string_view::npos && authority.find(']', colon) == std::string_view::npos;
  const std::string_view host = hasPort ? authority.substr(0, colon) : authority;
  return std::any_of(names.begin(), names.end(),
                     [&](std::string_view name) { return equalIgnoringCase(host, name); });
}

bool isForeign(const RecordedRequest& request) {
  const std::string authority = request.header("Host").value_or("");
  if (!isThisMachine(authority)) return true;
  const std::optional<std::string> origin = request.header("Origin");
  const bool otherOrigin = origin && !equalIgnoringCase(*origin, "http://" + authority) &&
                           !equalIgnoringCase(*origin, "https://" + authority);
  // "none" is an address that was typed, or opened from outside the browser.
  const std::string site = request.header("Sec-Fetch-Site").value_or("none");
  return otherOrigin || (site != "none" && site != "same-origin");
}

Reply refusal() {
  Reply reply;
  reply.status = 403;
  reply.body =
      R"({"error":"asked by a page or under a name from elsewhere; open the address in the browser's address bar"})"
      "\n";
  return reply;
}

}  // namespace

Handler forSameOrigin(Handler handler) {
  return [handler = std::move(handler)](Call& call) {
    return isForeign(call.request) ? refusal() : handler(call);
  };
}

}  // namespace sandbox
