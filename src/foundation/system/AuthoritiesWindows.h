#pragma once

#include <cstdint>
#include <functional>
#include <string>

namespace KBL::System {

/// The bytes that a store keeps under a number with a certificate, a pointer of the system's kind; none where
/// there are none.
[[nodiscard]] std::string keptProperty(const void* certificate, unsigned long number);
using KeptProperty = std::string (*)(const void* certificate, unsigned long number);

/// The certificates of a store that may sign for servers, as PEM text. Those that the store or they
/// themselves keep to other purposes are left out, those that the store has withdrawn, and those that the
/// second store holds, that of what is distrusted. Both are handles of the system's kind; a null one is an
/// empty store. `property` is for tests to have another.
[[nodiscard]] std::string authoritiesForServers(void* authorities, void* distrusted,
                                                KeptProperty property = &keptProperty);

/// Whether an authority is no longer one for servers, by what a store keeps with it: `property` gives the
/// bytes under a number, none where there are none. `now` counts tenths of microseconds since 1601. One that
/// signs for nothing new any more is withdrawn, too: nobody could tell its old certificates from the new.
[[nodiscard]] bool isWithdrawn(const std::function<std::string(unsigned long)>& property, std::uint64_t now);

}  // namespace KBL::System
