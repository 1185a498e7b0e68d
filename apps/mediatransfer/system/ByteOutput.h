#pragma once

#include <cstddef>

namespace host {

// The standard output for the bytes of a file. What the program and the library print meanwhile goes to the
// standard error stream.

/// Diverts what is printed. Before anything is, and before any other thread of the program runs.
void keepOutputForBytes();
/// True when people watch what the bytes go to.
[[nodiscard]] bool bytesGoToTerminal();

enum class BytesSent {
  all,
  lost,        ///< whoever read them takes no more, or there is no room
  interrupted  ///< `isOver` said so
};
/// Sends the bytes behind those of former calls. `isOver` is asked while nobody takes them.
[[nodiscard]] BytesSent sendBytes(const char* data, std::size_t size, bool (*isOver)());

}  // namespace host
