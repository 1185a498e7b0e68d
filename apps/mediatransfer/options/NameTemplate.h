#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace host {

/// The names that files of an album get when none are asked for.
inline constexpr const char* usualNameTemplate = "{title}.{ext}";

/// Throws Failure with Exit::wrongUse for a template with unknown fields, or with a separator of folders.
void checkNameTemplate(const std::string& nameTemplate);

/// The template with the value of each field ("title" for "{title}") in its place. For checked ones.
[[nodiscard]] std::string filledTemplate(std::string_view nameTemplate,
                                         const std::function<std::string(std::string_view)>& valueOf);

}  // namespace host
