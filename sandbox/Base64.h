#pragma once
#include <optional>
#include <string>
#include <string_view>

namespace sandbox {

[[nodiscard]] std::string base64(std::string_view bytes);
// The alphabet of addresses, without padding.
[[nodiscard]] std::string base64Url(std::string_view bytes);
// Nothing for text that is no padded base64.
[[nodiscard]] std::optional<std::string> base64Decoded(std::string_view text);

}  // namespace sandbox
