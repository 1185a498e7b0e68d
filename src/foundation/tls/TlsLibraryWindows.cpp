// The TLS library of Windows keeps nothing for a thread, and its state outlives the process's exit handlers.
#include "foundation/tls/TlsLibrary.h"

namespace KBL {

void leaveTlsLibrary() {}

}  // namespace KBL
