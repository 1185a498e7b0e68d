#pragma once

#include <array>
#include <bit>
#include <cstddef>

/// Slot of a virtual operation in its class's table, counted from 0, as the Itanium C++ ABI keeps it in a
/// pointer to member.
template <class Operation>
[[nodiscard]] std::size_t slotOf(Operation operation) {
  using Words = std::array<std::size_t, 2>;
  static_assert(sizeof(operation) == sizeof(Words));
  return (std::bit_cast<Words>(operation)[0] - 1) / sizeof(void*);
}
