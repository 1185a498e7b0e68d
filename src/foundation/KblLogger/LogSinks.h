#pragma once

#include "foundation/KblLogger/KblLogger.h"

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace KBL {

/// Settings of the reference logger. Its sinks mask token-like query parameters, bearer texts and the given
/// secrets on their way out.
struct LogSettings {
  int maxSeverity = IBsLogger::info;    ///< lines with a greater number are dropped
  bool console = false;                 ///< coloured lines on the standard error stream
  std::string file;                     ///< UTF-8 path of a rotating file for its owner only; empty: none
  std::size_t maxFileBytes = 5U << 20;  ///< a file past this is rotated
  std::size_t keptFiles = 3;            ///< rotated files that are kept
  /// Texts that become "***" wherever they stand, an application's secret for one; below 4 bytes: none.
  std::vector<std::string> secrets;
};

/// A logger with these sinks; null when the file cannot be opened.
[[nodiscard]] KBL_LOGGER_API std::shared_ptr<IBsLogger> makeLogger(const LogSettings& settings);

/// The text with the values of token-like query parameters ("access_token=", "code=", ...), JSON members and
/// bearer texts replaced by "***".
[[nodiscard]] KBL_LOGGER_API std::string maskSecrets(const std::string& text);

}  // namespace KBL
