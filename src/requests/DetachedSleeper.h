#pragma once

#include <functional>

namespace KBL {

/// How late a request gives its references back, so that the thread that does it has left the object by then.
inline constexpr int lateReleaseMs = 500;

/// Runs `action` on a detached thread after `milliseconds` of the process's time source. False when no thread
/// could be made; then `action` does not run. Exceptions of `action` end with it.
[[nodiscard]] bool runDetachedAfter(int milliseconds, std::function<void()> action);

}  // namespace KBL
