#pragma once

/// Lets one allocation of this thread fail, once so many have succeeded. A program that uses it names
/// FailingAllocation.cpp among its own sources, whose `operator new` serves the whole process.
class ScopedFailingAllocation {
 public:
  explicit ScopedFailingAllocation(int successesBefore);
  ~ScopedFailingAllocation();
  ScopedFailingAllocation(const ScopedFailingAllocation&) = delete;
  ScopedFailingAllocation& operator=(const ScopedFailingAllocation&) = delete;

  /// Whether the allocation has failed.
  [[nodiscard]] static bool hasFailed();
  /// How many have failed in the process.
  [[nodiscard]] static int failuresOfAllThreads();
};
