#pragma once

#include <string>

namespace KBL::System {

/// The certificates of a store that may sign for servers, as PEM text. Those that the store or they
/// themselves keep to other purposes are left out, and those that the second store holds, that of what is
/// distrusted. Both are handles of the system's kind; a null one is an empty store.
[[nodiscard]] std::string authoritiesForServers(void* authorities, void* distrusted);

}  // namespace KBL::System
