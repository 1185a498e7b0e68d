#pragma once

#include <string>

namespace host {

/// The secret behind an option's value: the first line of the file for "@FILE", else the value itself. Throws
/// Failure when the file cannot be read; `option` names the option in its line.
[[nodiscard]] std::string resolveSecret(const std::string& value, const std::string& option);

}  // namespace host
