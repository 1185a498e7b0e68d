#pragma once

#include "options/Options.h"

#include <string>

namespace host {

/// Read a word as the command line gave it, in any case, into `options`. Throw Failure with Exit::wrongUse,
/// which names the words that there are, for any other.

/// The action of `config`, and whether its key and value fit.
void checkAction(const std::string& given, Options& options);
/// The platform, and whether it knows the privacy and the way that are wanted.
void checkPlatform(const std::string& given, Options& options);
/// The service of `albums` and `media`.
void checkService(const std::string& given, Options& options);

}  // namespace host
