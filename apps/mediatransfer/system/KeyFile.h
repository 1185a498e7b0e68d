#pragma once

#include <string>

namespace host {

/// Whether the file holds a key that this user can use now. The file stays as it is, which the key store
/// would not let a damaged one. `path` is UTF-8.
[[nodiscard]] bool keyFileServes(const std::string& path);

}  // namespace host
