#pragma once

#include <KblUtils/Export.h>

#include <string>
#include <vector>

namespace KBL {

/// Names of the keys that are copied from a record of another make, which IBsInfoReader gives no way to list.
/// The foundation's own keys (NetKeys.h) are always among them; a library that defines keys adds its own
/// once. Any thread.
KBL_BSNET_API void registerKnownCharKeys(const std::vector<std::string>& keys);
KBL_BSNET_API void registerKnownIntKeys(const std::vector<std::string>& keys);

/// All of them as they stand now, each once.
[[nodiscard]] KBL_BSNET_API std::vector<std::string> knownCharKeys();
[[nodiscard]] KBL_BSNET_API std::vector<std::string> knownIntKeys();

}  // namespace KBL
