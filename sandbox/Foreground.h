#pragma once
#include "sandbox/SandboxOptions.h"

#include <iosfwd>
#include <string>

namespace sandbox {

// Runs a sandbox until SIGINT or SIGTERM and returns the program's exit code: 0 after a clean end, 1 when the
// sandbox can't start (the reason goes to `errors`). Prints the address, the file with the scripts' services
// (in the state folder, or a temporary one) and, without a `configFile`, the
// cloud configuration to `output`; with one, writes the configuration there instead. Takes over the two
// signals while it runs.
int runInForeground(const SandboxOptions& options, const std::string& configFile, std::ostream& output,
                    std::ostream& errors);

}  // namespace sandbox
