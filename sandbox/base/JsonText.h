#pragma once

#include <json/value.h>

#include <optional>
#include <string>
#include <string_view>

namespace sandbox {

/// The document, or nothing for text that is not strictly JSON, is nested too deep, or has something behind
/// it.
[[nodiscard]] std::optional<Json::Value> parseJson(std::string_view text);
/// One line, UTF-8 left as it is.
[[nodiscard]] std::string compactJson(const Json::Value& value);
[[nodiscard]] std::string readableJson(const Json::Value& value);

/// Members that are read only in their own type; anything else is nothing.
[[nodiscard]] std::optional<std::string> textMember(const Json::Value& object, const char* name);
[[nodiscard]] std::optional<long long> integerMember(const Json::Value& object, const char* name);

}  // namespace sandbox
