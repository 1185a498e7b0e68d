#pragma once

#include <cstddef>
#include <cstring>

/// Slot of a virtual operation in its class's table, counted from 0, as the Itanium C++ ABI keeps it in a
/// pointer to member.
template <class Operation>
[[nodiscard]] std::size_t slotOf(Operation operation) {
  std::size_t words[2] = {};
  static_assert(sizeof(operation) == sizeof(words));
  std::memcpy(words, &operation, sizeof(words));
  return (words[0] - 1) / sizeof(void*);
}
