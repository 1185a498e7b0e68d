#pragma once

#include "options/Options.h"

#include <string>
#include <vector>

namespace host {

/// The secret behind an option's value: the first line of the file for "@FILE", else the value itself. Throws
/// Failure when the file cannot be read; `option` names the option in its line.
[[nodiscard]] std::string resolveSecret(const std::string& value, const std::string& option);

/// The secrets that the options hold, the longest first: application secrets, tokens with their parts, and
/// the proxy's password as it was given and decoded. Texts that are too short to be told from words are left
/// out.
[[nodiscard]] std::vector<std::string> givenSecrets(const Options& options);

/// From now on `withoutGivenSecrets` hides these. Before any other thread of the program runs.
void hideSecrets(std::vector<std::string> secrets);
/// The text with "***" in the place of each hidden secret.
[[nodiscard]] std::string withoutGivenSecrets(std::string text);

}  // namespace host
