#include "sandbox/services/inspection/FaultJson.h"

#include "sandbox/base/JsonText.h"

#include <array>
#include <string_view>
#include <utility>

namespace sandbox {

namespace {

using Kind = Fault::Kind;

constexpr std::array<std::pair<Kind, std::string_view>, 19> kinds{{
    {Kind::closeAtOnce, "closeAtOnce"},
    {Kind::resetAtOnce, "resetAtOnce"},
    {Kind::resetRequestAfter, "resetRequestAfter"},
    {Kind::resetAnswerAfter, "resetAnswerAfter"},
    {Kind::stall, "stall"},
    {Kind::stallRequestAfter, "stallRequestAfter"},
    {Kind::slowRequest, "slowRequest"},
    {Kind::stallAnswerAfter, "stallAnswerAfter"},
    {Kind::slowAnswer, "slowAnswer"},
    {Kind::trickle, "trickle"},
    {Kind::status, "status"},
    {Kind::brokenJson, "brokenJson"},
    {Kind::replaceMember, "replaceMember"},
    {Kind::removeMember, "removeMember"},
    {Kind::truncatedBody, "truncatedBody"},
    {Kind::gzip, "gzip"},
    {Kind::gzipBomb, "gzipBomb"},
    {Kind::hugeBody, "hugeBody"},
    {Kind::deepNesting, "deepNesting"},
}};

std::optional<Kind> kindFromName(const std::string& name) {
  for (const auto& [kind, known] : kinds) {
    if (known == name) return kind;
  }
  return std::nullopt;
}

bool readNumber(const Json::Value& value, const char* name, long long& number) {
  if (!value.isMember(name)) return true;
  const std::optional<long long> member = integerMember(value, name);
  if (member && *member >= 0) number = *member;
  return member && *member >= 0;
}

bool readText(const Json::Value& value, const char* name, std::string& text) {
  if (!value.isMember(name)) return true;
  const std::optional<std::string> member = textMember(value, name);
  if (member) text = *member;
  return member.has_value();
}

bool readHeaders(const Json::Value& value, Fault& fault) {
  const Json::Value& headers = value["headers"];
  if (headers.isNull()) return true;
  if (!headers.isObject()) return false;
  for (const std::string& name : headers.getMemberNames()) {
    if (!headers[name].isString()) return false;
    fault.headers.emplace_back(name, headers[name].asString());
  }
  return true;
}

}  // namespace

std::string faultKindName(Kind kind) {
  for (const auto& [known, name] : kinds) {
    if (known == kind) return std::string(name);
  }
  return {};
}

std::optional<Fault> faultFromJson(const Json::Value& value) {
  if (!value.isObject()) return std::nullopt;
  const std::optional<Kind> kind = kindFromName(textMember(value, "kind").value_or(""));
  if (!kind) return std::nullopt;
  Fault fault = Fault::status(200);
  fault.kind = *kind;
  long long bytes = 0;
  long long delay = 0;
  long long code = fault.code;
  const bool sound = readNumber(value, "bytes", bytes) && readNumber(value, "delay", delay) &&
                     readNumber(value, "code", code) && readText(value, "text", fault.text) &&
                     readText(value, "contentType", fault.contentType) &&
                     readText(value, "path", fault.path) && readHeaders(value, fault);
  if (!sound) return std::nullopt;
  fault.bytes = static_cast<std::uint64_t>(bytes);
  fault.delay = std::chrono::milliseconds(delay);
  fault.code = static_cast<int>(code);
  return fault;
}

}  // namespace sandbox
