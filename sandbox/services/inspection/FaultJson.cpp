#include "sandbox/services/inspection/FaultJson.h"

#include "sandbox/base/JsonText.h"

#include <array>

namespace sandbox {

namespace {

using Kind = Fault::Kind;

/// What people and programs order a fault by.
struct KindRow {
  Kind kind;
  std::string_view name;
  std::string_view words;    ///< what happens, for people
  std::string_view members;  ///< those of Fault that say more, with a blank between them
};

constexpr std::array<KindRow, 21> kinds{{
    {Kind::closeAtOnce, "closeAtOnce", "the connection ends in order before a byte of an answer", ""},
    {Kind::resetAtOnce, "resetAtOnce", "the connection is reset before a byte of an answer", ""},
    {Kind::resetRequestAfter, "resetRequestAfter", "reset after so many bytes of the request's body",
     "bytes"},
    {Kind::resetAnswerAfter, "resetAnswerAfter", "reset after so many bytes of the answer", "bytes"},
    {Kind::stall, "stall", "no answer until stalls are released", ""},
    {Kind::stallRequestAfter, "stallRequestAfter",
     "no more of the request is read after so many bytes of its body", "bytes"},
    {Kind::slowRequest, "slowRequest",
     "the request is read in pieces of so many bytes, with a pause between them", "bytes delay"},
    {Kind::stallAnswerAfter, "stallAnswerAfter",
     "the answer stops after so many bytes until stalls are released", "bytes"},
    {Kind::slowAnswer, "slowAnswer", "the answer leaves so much later", "delay"},
    {Kind::trickle, "trickle", "the answer leaves in pieces of so many bytes, with a pause between them",
     "bytes delay"},
    {Kind::status, "status", "this status and text in place of the answer", "code text"},
    {Kind::brokenJson, "brokenJson", "the answer's JSON is cut in its middle", ""},
    {Kind::replaceMember, "replaceMember", "a member of the answer holds this JSON text instead",
     "path text"},
    {Kind::removeMember, "removeMember", "a member of the answer is left out", "path"},
    {Kind::truncatedBody, "truncatedBody", "the connection ends after so many bytes of the answer's body",
     "bytes"},
    {Kind::gzip, "gzip", "the answer is compressed without being asked", ""},
    {Kind::gzipBomb, "gzipBomb", "a small compressed answer that unpacks to so many bytes", "bytes"},
    {Kind::hugeBody, "hugeBody", "an answer of so many bytes", "bytes"},
    {Kind::deepNesting, "deepNesting", "an answer with arrays nested so deep", "bytes"},
    {Kind::acceptLess, "acceptLess", "YouTube takes so many bytes of a chunk, and says so", "bytes"},
    {Kind::statusAfterAct, "statusAfterAct", "this status and text, although the service has acted",
     "code text"},
}};

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

std::optional<Kind> faultKindFromName(std::string_view name) {
  for (const KindRow& row : kinds) {
    if (row.name == name) return row.kind;
  }
  return std::nullopt;
}

std::string faultKindName(Kind kind) {
  for (const KindRow& row : kinds) {
    if (row.kind == kind) return std::string(row.name);
  }
  return {};
}

Json::Value faultKinds() {
  Json::Value list(Json::arrayValue);
  for (const KindRow& row : kinds) {
    Json::Value value;
    value["name"] = std::string(row.name);
    value["words"] = std::string(row.words);
    value["members"] = std::string(row.members);
    list.append(value);
  }
  return list;
}

Json::Value jsonOf(const FaultBook::Order& order) {
  Json::Value value;
  value["id"] = Json::UInt64(order.id);
  value["route"] = std::string(routeName(order.route));
  value["kind"] = faultKindName(order.fault.kind);
  value["delivered"] = order.delivered;
  value["remaining"] = order.withdrawn ? 0 : order.remaining;
  value["endless"] = order.endless;
  value["withdrawn"] = order.withdrawn;
  return value;
}

std::optional<Fault> faultFromJson(const Json::Value& value) {
  if (!value.isObject()) return std::nullopt;
  const std::optional<Kind> kind = faultKindFromName(textMember(value, "kind").value_or(""));
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
