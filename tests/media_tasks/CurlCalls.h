#pragma once

#include <string>
#include <vector>

/// One call of libcurl's easy interface.
struct CurlCall {
  std::string function;  ///< "init", "setopt", "perform", "cleanup"
  int option = 0;        ///< of setopt
  long number = 0;       ///< of an option that takes a number
  std::string text;      ///< of the options that take a text here: address, user agent, encodings
  const void* pointer = nullptr;
};

/// Records the calls of this process for its own life. They go on to libcurl all the same.
class ScopedCurlCalls {
 public:
  ScopedCurlCalls();
  ~ScopedCurlCalls();
  ScopedCurlCalls(const ScopedCurlCalls&) = delete;
  ScopedCurlCalls& operator=(const ScopedCurlCalls&) = delete;

  [[nodiscard]] static std::vector<CurlCall> calls();
};
