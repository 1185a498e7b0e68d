#pragma once

#include <string>

namespace KBL::System {

/// The certificate authorities that the system itself keeps, as PEM text; empty where it keeps them in a file
/// that libcurl knows of.
[[nodiscard]] std::string keptAuthorities();

}  // namespace KBL::System
