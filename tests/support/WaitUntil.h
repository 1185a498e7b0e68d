#pragma once

#include <chrono>
#include <functional>

/// The limit of everything that a test waits for; far above what a loaded machine with sanitizers needs.
inline constexpr std::chrono::seconds generousLimit{30};

/// Waits until the condition holds; false when it did not within the limit.
[[nodiscard]] bool waitUntil(const std::function<bool()>& condition,
                             std::chrono::milliseconds limit = generousLimit);
