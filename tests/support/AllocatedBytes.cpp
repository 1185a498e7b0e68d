#include "support/AllocatedBytes.h"

#include <algorithm>
#include <cstdlib>

namespace {

// The size stands before each block, in a room that keeps the block aligned.
constexpr std::size_t headerSize = alignof(std::max_align_t);

thread_local long long liveBytes = 0;
thread_local long long peakBytes = 0;

void* allocate(std::size_t size) noexcept {
  void* const block = std::malloc(headerSize + size);
  if (block == nullptr) return nullptr;
  *static_cast<std::size_t*>(block) = size;
  liveBytes += static_cast<long long>(size);
  peakBytes = std::max(peakBytes, liveBytes);
  return static_cast<char*>(block) + headerSize;
}

void giveBack(void* memory) noexcept {
  if (memory == nullptr) return;
  void* const block = static_cast<char*>(memory) - headerSize;
  liveBytes -= static_cast<long long>(*static_cast<std::size_t*>(block));
  std::free(block);
}

}  // namespace

AllocatedBytes::AllocatedBytes() {
  liveBytes = 0;
  peakBytes = 0;
}

std::size_t AllocatedBytes::live() const {
  return static_cast<std::size_t>(std::max(liveBytes, 0LL));
}

std::size_t AllocatedBytes::peak() const {
  return static_cast<std::size_t>(peakBytes);
}

#include "support/GlobalNew.h"
