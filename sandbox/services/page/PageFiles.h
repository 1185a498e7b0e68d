#pragma once

#include <optional>
#include <string_view>

namespace sandbox {

/// The text of a file of sandbox/page, which the library carries in itself; nothing for an unknown name.
/// Lives as long as the program.
[[nodiscard]] std::optional<std::string_view> pageFile(std::string_view name);

}  // namespace sandbox
