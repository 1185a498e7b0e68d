#pragma once

#include <KblUtils/Result.h>

#include <cstdlib>
#include <string>
#include <utility>

namespace KBL::host {

/// Why something did not work: a code of ErrorCode, a MediaError, the service's own number or, with a text of
/// ours, the _Result of a call. Good when the code is 0.
struct Failure {
  int code = 0;
  std::string message{};

  explicit operator bool() const { return code != 0; }

  /// From the text of an upload's event, "code,message".
  [[nodiscard]] static Failure fromEvent(const std::string& text) {
    const std::size_t comma = text.find(',');
    const int code = std::atoi(text.c_str());
    if (comma == std::string::npos || code == 0) return {resultFailed, text};
    return {code, text.substr(comma + 1)};
  }
};

}  // namespace KBL::host
