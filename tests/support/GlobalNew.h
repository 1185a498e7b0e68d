#pragma once

// The process's own operators over `allocate` and `giveBack`, which stand ahead of this include in the one
// file of a program that has it.

#include <new>

// NOLINTBEGIN(misc-definitions-in-headers): one file of a program alone includes it
void* operator new(std::size_t size) {
  void* const memory = allocate(size);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}
void* operator new[](std::size_t size) {
  return operator new(size);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return allocate(size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
  return allocate(size);
}
void operator delete(void* memory) noexcept {
  giveBack(memory);
}
void operator delete[](void* memory) noexcept {
  giveBack(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
  giveBack(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
  giveBack(memory);
}
void operator delete(void* memory, const std::nothrow_t&) noexcept {
  giveBack(memory);
}
void operator delete[](void* memory, const std::nothrow_t&) noexcept {
  giveBack(memory);
}
// NOLINTEND(misc-definitions-in-headers)
