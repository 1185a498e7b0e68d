#pragma once

#include "sandbox/base/Fault.h"

#include <json/value.h>

#include <optional>
#include <string>

namespace sandbox {

/// {"kind": "resetAnswerAfter", "bytes": 10, ...}: the members are those of Fault, "delay" in milliseconds.
/// Nothing for an unknown kind or a member of the wrong type.
[[nodiscard]] std::optional<Fault> faultFromJson(const Json::Value& value);
[[nodiscard]] std::string faultKindName(Fault::Kind kind);

}  // namespace sandbox
