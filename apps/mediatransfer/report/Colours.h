#pragma once

#include <string>
#include <string_view>

namespace host {

enum class Colour { green, yellow, red, bold };

/// The text in a colour, for a terminal; as it is without `wanted`.
[[nodiscard]] std::string coloured(std::string_view text, Colour colour, bool wanted);

/// A bar such as "[###---] 50%" with what is done of it in green.
[[nodiscard]] std::string colouredBar(const std::string& bar, bool wanted);

}  // namespace host
