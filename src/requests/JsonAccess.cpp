#include "requests/JsonAccess.h"

#include <json/reader.h>
#include <json/writer.h>

#include <algorithm>
#include <cstring>
#include <exception>
#include <limits>
#include <memory>

namespace KBL {

namespace {
Json::CharReaderBuilder readerSettings(bool strict) {
  Json::CharReaderBuilder builder;
  builder["collectComments"] = false;
  builder["allowComments"] = !strict;
  builder["strictRoot"] = strict;
  builder["allowTrailingCommas"] = false;
  return builder;
}
}  // namespace

bool parseJson(const std::string& text, Json::Value& root, bool strict) {
  root = Json::Value();
  try {
    const std::unique_ptr<Json::CharReader> reader(readerSettings(strict).newCharReader());
    Json::Value parsed;
    if (!reader->parse(text.data(), text.data() + text.size(), &parsed, nullptr)) return false;
    root = std::move(parsed);
    return true;
  } catch (const std::exception&) {
    return false;  // nested too deep, or a number out of range
  }
}

const Json::Value& jsonMember(const Json::Value& object, const char* name) {
  static const Json::Value& missing = *new Json::Value;  // never freed: workers read while the process ends
  if (!object.isObject()) return missing;
  const Json::Value* const member = object.find(name, name + std::strlen(name));
  return member == nullptr ? missing : *member;
}

std::string jsonText(const Json::Value& object, const char* name) {
  const Json::Value& member = jsonMember(object, name);
  return member.isString() ? member.asString() : std::string();
}

int jsonInt(const Json::Value& object, const char* name, int otherwise) {
  const Json::Value& member = jsonMember(object, name);
  return member.isInt() ? member.asInt() : otherwise;
}

int jsonCode(const Json::Value& object, const char* name) {
  const Json::Value& member = jsonMember(object, name);
  if (!member.isNumeric()) return 0;
  using Limits = std::numeric_limits<int>;
  return static_cast<int>(std::clamp<double>(member.asDouble(), Limits::min(), Limits::max()));
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

std::string compactJson(const Json::Value& value) {
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "";
  return Json::writeString(builder, value) + "\n";
}

}  // namespace KBL
