#pragma once

#include <string>
#include <string_view>

namespace host {

/// A part of an address without its percent signs (RFC 3986).
struct PercentDecoded {
  std::string text;     ///< a '%' without two hexadecimal digits behind it stands as it came
  bool isSound = true;  ///< there was none of these
};

[[nodiscard]] PercentDecoded percentDecoded(std::string_view text);

}  // namespace host
