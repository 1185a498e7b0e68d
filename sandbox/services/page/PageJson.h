#pragma once

#include "sandbox/services/Service.h"

#include <json/value.h>

#include <string>
#include <string_view>
#include <vector>

namespace sandbox {

// What the page shows of the sandbox's state at the moment, without secrets.

/// What stays as it is while the sandbox runs: addresses, the application, the words of faults.
[[nodiscard]] Json::Value settingJson(const ServiceContext& context);
/// Users, those who are signed in with their tokens, and the application's own tokens.
[[nodiscard]] Json::Value peopleJson(const ServiceContext& context);
/// Who consents, the logins that nobody has decided, and the latest that somebody has.
[[nodiscard]] Json::Value loginsJson(const ServiceContext& context);
/// The latest uploads, the oldest first: how far they are, how fast they came, and what was said of them.
[[nodiscard]] std::vector<Json::Value> uploadsJson(const ServiceContext& context);
/// The orders of faults with their counts, the newest first.
[[nodiscard]] Json::Value faultsJson(const ServiceContext& context);

/// What a player takes the bytes for, from the first of them; "application/octet-stream" for what it can't
/// play.
[[nodiscard]] std::string mediaTypeOf(std::string_view start);

}  // namespace sandbox
