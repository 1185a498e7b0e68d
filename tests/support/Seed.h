#pragma once

#include <random>

/// A generator for random input; its seed is printed, and the environment variable KBL_TEST_SEED repeats it.
[[nodiscard]] std::mt19937_64 seededGenerator();
