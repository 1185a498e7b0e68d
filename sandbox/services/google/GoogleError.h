#pragma once

#include "sandbox/server/Endpoint.h"

#include <string>

namespace sandbox {

/// Google's own error shape, with the HTTP status of the code.
[[nodiscard]] Reply googleError(int code, const std::string& message, const std::string& reason);
/// A missing, unknown, expired or revoked token.
[[nodiscard]] Reply googleUnauthorized();

}  // namespace sandbox
