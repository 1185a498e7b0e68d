#pragma once

namespace host {

/// Takes over Ctrl-C (and the system's request to terminate, on Windows Ctrl-Break and the end of the
/// console): the first is noted, a second one ends the process at once with exit code 130.
void watchInterrupts();
/// True once Ctrl-C came, or the standard output cannot be written any more: nobody hears of the rest then.
/// For the main thread.
[[nodiscard]] bool interrupted();
/// True when the standard output cannot be written.
[[nodiscard]] bool outputIsLost();

}  // namespace host
