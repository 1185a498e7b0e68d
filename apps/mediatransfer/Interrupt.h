#pragma once

namespace host {

/// Takes over Ctrl-C (and the system's request to terminate): the first is noted, a second one ends the
/// process at once with exit code 130.
void watchInterrupts();
/// True once Ctrl-C came.
[[nodiscard]] bool interrupted();

}  // namespace host
