#pragma once

#include "sandbox/base/RecordedRequest.h"

#include <algorithm>
#include <initializer_list>

/// What TikTok and Douyin, one maker's services, share: the numbers of their refusals, which they answer with
/// HTTP status 200.
namespace sandbox::open_platform {

inline constexpr int invalidParameter = 2100005;
inline constexpr int invalidToken = 2190002;
inline constexpr int expiredToken = 2190008;
inline constexpr int otherUser = 2190015;
inline constexpr int badSize = 2111001;
inline constexpr int unknownUpload = 2111002;
inline constexpr int wrongPart = 2111003;
inline constexpr int uploadOver = 2111004;

/// The query has these parameters, each with a value.
[[nodiscard]] inline bool hasAll(const RecordedRequest& request, std::initializer_list<const char*> names) {
  return std::all_of(names.begin(), names.end(),
                     [&](const char* name) { return !request.parameter(name).value_or("").empty(); });
}

/// The query has these parameters, each once and with a value, and no others.
[[nodiscard]] inline bool hasExactly(const RecordedRequest& request,
                                     std::initializer_list<const char*> names) {
  return hasAll(request, names) && request.query.size() == names.size();
}

}  // namespace sandbox::open_platform
