#include "sandbox/services/Avatar.h"

#include "sandbox/base/Text.h"

namespace sandbox {

namespace {

constexpr const char* avatarPath = "/avatar/";
constexpr const char* drawing =
    R"(<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 64 64"><rect width="64" height="64" fill="#0b57d0"/>)"
    R"(<circle cx="32" cy="24" r="12" fill="#fff"/><path d="M8 60a24 20 0 0 1 48 0z" fill="#fff"/></svg>)";

}  // namespace

void Avatar::addTo(Router& router) {
  const auto show = [this](Call& call) {
    if (!context_.accounts.user(call.rest)) return Reply{404, "no such user", "text/plain", {}};
    return Reply{200, drawing, "image/svg+xml", {}};
  };
  router.add({Route::avatar, "GET", avatarPath, show, Endpoint::Body::whole, Endpoint::Path::withRest});
}

std::string Avatar::url(const ServiceContext& context, const User& user) {
  return context.baseUrl + avatarPath + percentEncoded(user.openId);
}

}  // namespace sandbox
