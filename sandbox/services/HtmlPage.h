#pragma once

#include "sandbox/server/Endpoint.h"

#include <string>

namespace sandbox {

/// A page for a person's browser. `content` is HTML, `title` is text. `formTarget` is the origin that a form
/// of the page may lead to besides the sandbox itself.
[[nodiscard]] Reply htmlPage(int status, const std::string& title, const std::string& content,
                             const std::string& formTarget = {});
[[nodiscard]] Reply redirectTo(const std::string& address);

}  // namespace sandbox
