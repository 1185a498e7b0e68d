#pragma once

namespace KBL {

/// Frees what libcurl's TLS library keeps for the calling thread, which else happens when the thread ends:
/// for a detached worker that may be while the process's exit handlers tear the library down. The next call
/// into the library sets it up anew.
void leaveTlsLibrary();

}  // namespace KBL
