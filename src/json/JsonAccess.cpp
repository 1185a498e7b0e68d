#include "json/JsonAccess.h"

#include "foundation/neverFreed.h"
#include <KblUtils/StringUtil.h>

#include <json/reader.h>
#include <json/writer.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <exception>
#include <limits>
#include <memory>

namespace KBL {

namespace {
/// Bytes that the values of one text may take.
constexpr std::size_t highestTreeCost = 64U << 20;

Json::CharReaderBuilder readerSettings(bool strict) {
  Json::CharReaderBuilder builder;
  builder["collectComments"] = false;
  builder["allowComments"] = !strict;
  builder["strictRoot"] = strict;
  builder["failIfExtra"] = strict;
  builder["allowTrailingCommas"] = false;
  return builder;
}

/// A reader of one text.
std::unique_ptr<Json::CharReader> makeReader(bool strict) {
  // Settings are a tree of values themselves; a worker may read while the process ends.
  static const Json::CharReaderBuilder& lenientReaders =
      neverFreed<Json::CharReaderBuilder>(readerSettings(false));
  static const Json::CharReaderBuilder& strictReaders =
      neverFreed<Json::CharReaderBuilder>(readerSettings(true));
  return std::unique_ptr<Json::CharReader>((strict ? strictReaders : lenientReaders).newCharReader());
}

bool isTooLarge(const std::string& text, const JsonForm& form) {
  return text.size() > form.longestText || costsMoreThan(highestTreeCost, text);
}
}  // namespace

JsonOutcome readJson(const std::string& text, const JsonForm& form, Json::Value& root) {
  root = Json::Value();
  if (isTooLarge(text, form)) return JsonOutcome::tooLarge;
  try {
    const std::unique_ptr<Json::CharReader> reader = makeReader(form.strict);
    Json::Value parsed;
    if (!reader->parse(text.data(), text.data() + text.size(), &parsed, nullptr)) return JsonOutcome::notJson;
    root = std::move(parsed);
    return JsonOutcome::good;
  } catch (const std::exception&) {
    return JsonOutcome::notJson;  // nested too deep, or a number out of range
  }
}

bool parseJson(const std::string& text, const JsonForm& form, Json::Value& root) {
  return readJson(text, form, root) == JsonOutcome::good;
}

const Json::Value& jsonMember(const Json::Value& object, const char* name) {
  static const Json::Value& missing = neverFreed<Json::Value>();  // workers read while the process ends
  if (!object.isObject()) return missing;
  const Json::Value* const member = object.find(name, name + std::strlen(name));
  return member == nullptr ? missing : *member;
}

std::string jsonText(const Json::Value& object, const char* name) {
  return std::string(jsonTextView(object, name));
}

std::string_view jsonTextView(const Json::Value& object, const char* name) {
  return jsonTextView(jsonMember(object, name));
}

std::string_view jsonTextView(const Json::Value& value) {
  const char* begin = nullptr;
  const char* end = nullptr;
  if (!value.isString() || !value.getString(&begin, &end)) return {};
  return {begin, static_cast<std::size_t>(end - begin)};
}

int jsonInt(const Json::Value& object, const char* name, int otherwise) {
  const Json::Value& member = jsonMember(object, name);
  return member.isInt() ? member.asInt() : otherwise;
}

std::optional<int> jsonCode(const Json::Value& root, std::initializer_list<const char*> path) {
  const Json::Value* value = &root;
  for (const char* const name : path) {
    if (value->isNull()) return 0;
    if (!value->isObject()) return std::nullopt;
    value = &jsonMember(*value, name);
  }
  if (value->isNull()) return 0;
  if (!value->isNumeric() || std::trunc(value->asDouble()) != value->asDouble()) return std::nullopt;
  using Limits = std::numeric_limits<int>;
  return static_cast<int>(std::clamp<double>(value->asDouble(), Limits::min(), Limits::max()));
}

std::optional<std::string> jsonId(const Json::Value& object, const char* name) {
  const Json::Value& member = jsonMember(object, name);
  const bool isWhole = member.type() == Json::intValue || member.type() == Json::uintValue;
  if (!member.isString() && !isWhole) return std::nullopt;
  return member.asString();
}

std::int64_t jsonInt64(const Json::Value& object, const char* name, std::int64_t otherwise) {
  const Json::Value& member = jsonMember(object, name);
  return member.isInt64() ? member.asInt64() : otherwise;
}

std::string unreadableReply(const std::string& content) {
  return "can't read json. response:" + StringUtil::excerpt(content);
}

std::string compactJson(const Json::Value& value) {
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "";
  return Json::writeString(builder, value) + "\n";
}

void appendJsonText(std::string& document, const std::string& text) {
  const auto escaped = std::count_if(text.begin(), text.end(), [](char letter) {
    return letter < ' ' || letter > '~' || letter == '"' || letter == '\\';
  });
  if (escaped == 0) {
    document += '"';
    document += text;
    document += '"';
  } else if (text.find('\0') == std::string::npos) {
    document += Json::valueToQuotedString(text.c_str());
  } else {
    document += compactJson(text);
    document.pop_back();  // the line feed
  }
}

}  // namespace KBL
