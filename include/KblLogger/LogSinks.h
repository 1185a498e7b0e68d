#pragma once

#include <KblLogger/KblLogger.h>

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace KBL {

/// Settings of the reference logger. Its sinks mask what `maskSecrets` masks, and the given secrets, on their
/// way out. A line stays one line: line breaks, controls, marks that turn the direction of writing and bytes
/// that are no UTF-8 become "\\n" and "\\x1b".
struct LogSettings {
  int maxSeverity = IBsLogger::severityInfo;  ///< lines with a greater number are dropped
  bool console = false;                       ///< coloured lines on the standard error stream
  std::string file;                     ///< UTF-8 path of a rotating file for its owner only; empty: none
  std::size_t maxFileBytes = 5U << 20;  ///< a file past this is rotated
  std::size_t keptFiles = 3;            ///< rotated files that are kept
  /// Texts that become "***" wherever they stand, an application's secret for one; below 4 bytes: none.
  std::vector<std::string> secrets;
};

/// A logger with these sinks; null when the file cannot be opened.
[[nodiscard]] KBL_LOGGER_API std::shared_ptr<IBsLogger> makeLogger(const LogSettings& settings);

/// The text with "***" in place of secrets. What follows a telling name is one (a name that ends in "token",
/// "secret" or "verifier", or is "password", "bearer", "open_id", "upload_id" or a login code's): as a query
/// parameter, also percent-encoded ("access_token="), as a JSON member, be it a text, a number or an array of
/// these, and as a header ("X-App-Secret: "). So are credentials ("Authorization:", "Bearer "), user and
/// password of an address, and the stored logins of the script package. What is masked already and short
/// numbers behind "code" stay.
[[nodiscard]] KBL_LOGGER_API std::string maskSecrets(const std::string& text);

}  // namespace KBL
