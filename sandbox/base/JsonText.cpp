#include "sandbox/base/JsonText.h"

#include <json/reader.h>
#include <json/writer.h>

#include <exception>
#include <memory>

namespace sandbox {

namespace {

std::string written(const Json::Value& value, const char* indentation) {
  Json::StreamWriterBuilder builder;
  builder["indentation"] = indentation;
  builder["emitUTF8"] = true;
  return Json::writeString(builder, value);
}

}  // namespace

std::optional<Json::Value> parseJson(std::string_view text) {
  Json::CharReaderBuilder builder;
  Json::CharReaderBuilder::strictMode(&builder.settings_);
  builder["strictRoot"] = false;
  builder["rejectDupKeys"] = false;
  const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
  Json::Value value;
  try {
    // jsoncpp throws on deep nesting.
    if (!reader->parse(text.data(), text.data() + text.size(), &value, nullptr)) return std::nullopt;
  } catch (const std::exception&) {
    return std::nullopt;
  }
  return value;
}

std::string compactJson(const Json::Value& value) {
  return written(value, "");
}
std::string readableJson(const Json::Value& value) {
  return written(value, "  ");
}

std::optional<std::string> textMember(const Json::Value& object, const char* name) {
  if (!object.isObject() || !object[name].isString()) return std::nullopt;
  return object[name].asString();
}

std::optional<long long> integerMember(const Json::Value& object, const char* name) {
  if (!object.isObject()) return std::nullopt;
  const Json::Value& member = object[name];
  // A JSON 1.0 is a real number here, as it is for the real services.
  if (member.type() != Json::intValue && member.type() != Json::uintValue) return std::nullopt;
  if (!member.isInt64()) return std::nullopt;
  return member.asInt64();
}

}  // namespace sandbox
