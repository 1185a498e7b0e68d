#include "support/Seed.h"

#include <cstdlib>
#include <iostream>

std::mt19937_64 seededGenerator() {
  const char* const given = std::getenv("KBL_TEST_SEED");
  const std::uint64_t seed = given != nullptr ? std::strtoull(given, nullptr, 10) : std::random_device{}();
  std::cout << "seed (repeat with KBL_TEST_SEED): " << seed << std::endl;
  return std::mt19937_64(seed);
}
