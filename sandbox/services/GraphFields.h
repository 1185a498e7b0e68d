#pragma once

#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

namespace sandbox {

/// The names of a Graph request's "fields", without what stands in braces behind one of them.
[[nodiscard]] std::vector<std::string> graphFields(const std::string& fields);
/// The first of them that is none of the object's; empty when they all are.
[[nodiscard]] std::string strangeGraphField(const std::string& fields,
                                            std::initializer_list<std::string_view> known);

}  // namespace sandbox
