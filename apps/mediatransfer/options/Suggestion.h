#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace host {

/// The candidate that is nearest to a word that nobody knows: one in another case, or one that few letters
/// tell apart from it. Empty when none is near.
[[nodiscard]] std::string nearest(std::string_view word, const std::vector<std::string>& candidates);

/// " (did you mean NEAREST?)", or nothing.
[[nodiscard]] std::string didYouMean(std::string_view word, const std::vector<std::string>& candidates);

/// ASCII letters as small ones.
[[nodiscard]] std::string lowerCase(std::string_view text);

}  // namespace host
