#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>

/// Slot of a virtual operation in its class's table, counted from 0, as the Itanium C++ ABI keeps it in a
/// pointer to member: one more than the offset of the entry. What is not virtual has none.
template <class Operation>
std::size_t slotOf(Operation operation) {
  std::size_t words[2];
  static_assert(sizeof(operation) == sizeof(words), "not the rules of Itanium");
  std::memcpy(words, &operation, sizeof(words));
  const bool isVirtual = words[0] % sizeof(void*) == 1;
  return isVirtual ? words[0] / sizeof(void*) : static_cast<std::size_t>(-1);
}

/// Expects the operations in the slots from `first` on, without a gap.
template <class... Operations>
void expectSlots(std::size_t first, Operations... operations) {
  std::size_t slot = first;
  (..., [&] { EXPECT_EQ(slotOf(operations), slot++); }());
}
