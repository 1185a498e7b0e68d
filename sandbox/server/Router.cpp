#include "sandbox/server/Router.h"

#include "sandbox/base/Text.h"

namespace sandbox {

void Router::add(Endpoint endpoint) {
  endpoints_.push_back(std::move(endpoint));
}

Router::Match Router::find(const std::string& method, const std::string& path) const {
  Match match;
  for (const Endpoint& endpoint : endpoints_) {
    const bool withRest = endpoint.match == Endpoint::Path::withRest;
    const std::size_t fixed = endpoint.path.size() + endpoint.ending.size();
    const bool same =
        withRest ? path.size() > fixed && path.starts_with(endpoint.path) && path.ends_with(endpoint.ending)
                 : path == endpoint.path;
    if (!same) continue;
    if (endpoint.method != method) {
      match.otherMethod = true;
      continue;
    }
    match.endpoint = &endpoint;
    match.rest =
        withRest ? percentDecoded(path.substr(endpoint.path.size(), path.size() - fixed)) : std::string();
    match.otherMethod = false;
    return match;
  }
  return match;
}

}  // namespace sandbox
