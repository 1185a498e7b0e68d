#pragma once

#include <json/value.h>

#include <cstdint>
#include <optional>
#include <string>

namespace KBL {

// The one way in which replies are read: a member of a wrong type reads like a missing one, and nothing
// throws.

/// Parses `text`; strict mode takes an object or array as root only, and no comments. False for whatever is
/// no JSON, also when it is nested too deep.
[[nodiscard]] bool parseJson(const std::string& text, Json::Value& root, bool strict = false);

/// The member called `name`, or a null value when `object` is no object or lacks it.
[[nodiscard]] const Json::Value& jsonMember(const Json::Value& object, const char* name);
/// Text of a string member, else empty.
[[nodiscard]] std::string jsonText(const Json::Value& object, const char* name);
/// A whole-number member that fits, else `otherwise`.
[[nodiscard]] int jsonInt(const Json::Value& object, const char* name, int otherwise = 0);
/// A service's code: a number, cut to what an int holds, so that no refusal reads like the 0 of a success.
/// What is no number reads as 0.
[[nodiscard]] int jsonCode(const Json::Value& object, const char* name);
/// A service's name for a thing, text or a whole number; none for anything else.
[[nodiscard]] std::optional<std::string> jsonId(const Json::Value& object, const char* name);
[[nodiscard]] std::int64_t jsonInt64(const Json::Value& object, const char* name, std::int64_t otherwise = 0);

/// The compact text of `value`, ended by a line feed.
[[nodiscard]] std::string compactJson(const Json::Value& value);

}  // namespace KBL
