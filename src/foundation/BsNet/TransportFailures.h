#pragma once

namespace KBL {

/// What a raw transport code means, for people; never null.
[[nodiscard]] const char* transportFailureText(int transportCode);

}  // namespace KBL
