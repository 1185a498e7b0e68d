#pragma once

#include <string>
#include <string_view>

namespace host {

/// The text as a name of a file that every system takes: without separators, control characters, marks that
/// turn the direction of writing, reserved names and hidden beginnings, and not too long. The ending behind
/// the last dot is kept, and a name that was made here stays as it is. Texts are UTF-8.
[[nodiscard]] std::string safeFileName(std::string_view text);

/// Equal for names that some system takes for the same file.
[[nodiscard]] std::string foldedFileName(std::string_view name);

/// "name (2).jpg", no longer than a safe name may be.
[[nodiscard]] std::string numberedFileName(std::string_view name, int number);

}  // namespace host
