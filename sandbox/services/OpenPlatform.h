#pragma once
#include "sandbox/RecordedRequest.h"

#include <initializer_list>

// What TikTok and Douyin, one maker's services, share: the numbers of their refusals, which they answer with
// HTTP status 200.
namespace sandbox::open_platform {

inline constexpr int kInvalidParameter = 2100005;
inline constexpr int kInvalidToken = 2190002;
inline constexpr int kExpiredToken = 2190008;
inline constexpr int kOtherUser = 2190015;
inline constexpr int kBadSize = 2111001;
inline constexpr int kUnknownUpload = 2111002;
inline constexpr int kWrongPart = 2111003;
inline constexpr int kUploadOver = 2111004;

// The query has these parameters, each once and with a value, and no others.
[[nodiscard]] bool hasExactly(const RecordedRequest& request, std::initializer_list<const char*> names);

}  // namespace sandbox::open_platform
