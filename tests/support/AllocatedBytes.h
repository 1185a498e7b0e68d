#pragma once

#include <cstddef>

/// Counts what the calling thread takes by `operator new` while this lives. A program that uses it names
/// AllocatedBytes.cpp among its own sources, whose operators serve the whole process.
class AllocatedBytes {
 public:
  AllocatedBytes();
  AllocatedBytes(const AllocatedBytes&) = delete;
  AllocatedBytes& operator=(const AllocatedBytes&) = delete;

  /// Bytes taken and not given back since the start, as the caller asked for them.
  [[nodiscard]] std::size_t live() const;
  /// The most that was live at once.
  [[nodiscard]] std::size_t peak() const;
};
