#pragma once

#include "sandbox/server/Endpoint.h"

#include <json/value.h>

#include <string>

namespace sandbox {

/// The Graph API's own error shape, status 400. `subcode` 0 is left out, as `data` is when null.
[[nodiscard]] Reply facebookError(int code, const std::string& message, int subcode = 0,
                                  const Json::Value& data = Json::Value());
/// A missing, unknown, expired or revoked token.
[[nodiscard]] Reply facebookUnauthorized();
[[nodiscard]] Reply facebookBadParameter(const std::string& message);
[[nodiscard]] Reply facebookNoSuchField(const std::string& name);

}  // namespace sandbox
