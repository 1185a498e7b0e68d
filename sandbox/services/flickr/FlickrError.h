#pragma once

#include "sandbox/server/Endpoint.h"

#include <string>

namespace sandbox {

/// Flickr's own error shape in JSON, status 200.
[[nodiscard]] Reply flickrError(int code, const std::string& message);

}  // namespace sandbox
