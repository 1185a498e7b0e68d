#pragma once

#include <json/value.h>

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <limits>
#include <optional>
#include <string>
#include <string_view>

namespace KBL {

// The one way in which replies are read: a member of a wrong type reads like a missing one, and nothing
// throws.

/// How a text from outside is read as JSON.
struct JsonForm {
  bool strict;  ///< an object or array as root only, no comments, nothing behind the document
  std::size_t longestText = std::numeric_limits<std::size_t>::max();  ///< bytes
};
inline constexpr JsonForm accountReplyForm{false, 1U << 20};
inline constexpr JsonForm platformReplyForm{true, 1U << 20};
inline constexpr JsonForm mediaPageForm{false, 16U << 20};
inline constexpr JsonForm ownFileForm{false};  ///< a file that this library wrote

enum class JsonOutcome {
  good,
  notJson,  ///< also when it is nested too deep
  tooLarge  ///< longer than its form allows, or its values would take more than 64 MiB; nothing was parsed
};

/// Parses `text` into `root`, which is null unless the outcome is good.
[[nodiscard]] JsonOutcome readJson(const std::string& text, const JsonForm& form, Json::Value& root);
/// The same: true when the outcome is good.
[[nodiscard]] bool parseJson(const std::string& text, const JsonForm& form, Json::Value& root);

/// The member called `name`, or a null value when `object` is no object or lacks it.
[[nodiscard]] const Json::Value& jsonMember(const Json::Value& object, const char* name);
/// Text of a string member, else empty.
[[nodiscard]] std::string jsonText(const Json::Value& object, const char* name);
/// The same without a copy, good as long as `object` is unchanged.
[[nodiscard]] std::string_view jsonTextView(const Json::Value& object, const char* name);
[[nodiscard]] std::string_view jsonTextView(const Json::Value& value);
/// A whole-number member that fits, else `otherwise`.
[[nodiscard]] int jsonInt(const Json::Value& object, const char* name, int otherwise = 0);
/// The code that decides whether a service did what it was asked, found from `root` along the names of
/// `path`: a whole number, cut to what an int holds, so that no refusal reads like the 0 of a success. A
/// missing member on the way, or a null one, reads as 0; none when one of them, or the root, is of a wrong
/// type, which is to be taken for a failure.
[[nodiscard]] std::optional<int> jsonCode(const Json::Value& root, std::initializer_list<const char*> path);
/// A service's name for a thing, text or a whole number; none for anything else.
[[nodiscard]] std::optional<std::string> jsonId(const Json::Value& object, const char* name);
[[nodiscard]] std::int64_t jsonInt64(const Json::Value& object, const char* name, std::int64_t otherwise = 0);

/// The message about a reply that could not be read, with what may be told of it.
[[nodiscard]] std::string unreadableReply(const std::string& content);

/// The compact text of `value`, ended by a line feed.
[[nodiscard]] std::string compactJson(const Json::Value& value);
/// Adds a text in quotes, as `compactJson` writes it, to a document.
void appendJsonText(std::string& document, const std::string& text);

/// Bytes of memory that the values of a JSON text take once they are parsed: an upper bound, counted in one
/// pass, without building anything. A text that is no JSON gets the bound of what a parser builds of it
/// before it gives up. The count ends as soon as it is above `limit`.
[[nodiscard]] std::size_t jsonTreeCost(std::string_view text, std::size_t limit);
/// Whether that is more than `limit`. A text that is too short for it is not looked at.
[[nodiscard]] bool costsMoreThan(std::size_t limit, std::string_view text);

}  // namespace KBL
