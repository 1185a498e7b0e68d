#include "support/FailingAllocation.h"

#include <cstdlib>
#include <new>

namespace {

constexpr int never = -1;
thread_local int successesLeft = never;
thread_local bool failed = false;

void* allocate(std::size_t size) noexcept {
  if (successesLeft == 0) {
    successesLeft = never;
    failed = true;
    return nullptr;
  }
  if (successesLeft > 0) --successesLeft;
  return std::malloc(size == 0 ? 1 : size);
}

void* allocateOrThrow(std::size_t size) {
  void* const memory = allocate(size);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}

}  // namespace

ScopedFailingAllocation::ScopedFailingAllocation(int successesBefore) {
  failed = false;
  successesLeft = successesBefore;
}

ScopedFailingAllocation::~ScopedFailingAllocation() {
  successesLeft = never;
}

bool ScopedFailingAllocation::hasFailed() {
  return failed;
}

void* operator new(std::size_t size) {
  return allocateOrThrow(size);
}
void* operator new[](std::size_t size) {
  return allocateOrThrow(size);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return allocate(size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
  return allocate(size);
}
void operator delete(void* memory) noexcept {
  std::free(memory);
}
void operator delete[](void* memory) noexcept {
  std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
  std::free(memory);
}
void operator delete(void* memory, const std::nothrow_t&) noexcept {
  std::free(memory);
}
void operator delete[](void* memory, const std::nothrow_t&) noexcept {
  std::free(memory);
}
