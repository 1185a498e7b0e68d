#pragma once

#include "sandbox/base/Fault.h"
#include "sandbox/server/FaultBook.h"

#include <json/value.h>

#include <optional>
#include <string>
#include <string_view>

namespace sandbox {

/// {"kind": "resetAnswerAfter", "bytes": 10, ...}: the members are those of Fault, "delay" in milliseconds.
/// Nothing for an unknown kind or a member of the wrong type.
[[nodiscard]] std::optional<Fault> faultFromJson(const Json::Value& value);
/// An order with its count of deliveries.
[[nodiscard]] Json::Value jsonOf(const FaultBook::Order& order);
/// [{"name", "words", "members"}]: every kind, what it does in words, and the members that say more.
[[nodiscard]] Json::Value faultKinds();
[[nodiscard]] std::string faultKindName(Fault::Kind kind);
[[nodiscard]] std::optional<Fault::Kind> faultKindFromName(std::string_view name);

}  // namespace sandbox
