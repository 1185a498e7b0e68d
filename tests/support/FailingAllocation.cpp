#include "support/FailingAllocation.h"

#include <atomic>
#include <cstdlib>

namespace {

constexpr int never = -1;
thread_local int successesLeft = never;
thread_local bool failed = false;
std::atomic<int> allFailures{0};

void* allocate(std::size_t size) noexcept {
  if (successesLeft == 0) {
    successesLeft = never;
    failed = true;
    ++allFailures;
    return nullptr;
  }
  if (successesLeft > 0) --successesLeft;
  return std::malloc(size == 0 ? 1 : size);
}

void giveBack(void* memory) noexcept {
  std::free(memory);
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

int ScopedFailingAllocation::failuresOfAllThreads() {
  return allFailures;
}

#include "support/GlobalNew.h"
