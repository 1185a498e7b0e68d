// OpenSSL frees its state in an exit handler, under workers that may still be in the middle of a handshake.
// The first call into it decides whether that handler exists, so this one is made when the library is loaded.
// Where the host's own code was faster, the gates in front of libcurl and leaveTlsLibrary have to do.
#include "foundation/tls/TlsLibrary.h"

#include <openssl/crypto.h>

namespace KBL {
namespace {

[[maybe_unused]] const int keptAtExit = OPENSSL_init_crypto(OPENSSL_INIT_NO_ATEXIT, nullptr);

}  // namespace

void leaveTlsLibrary() {
  OPENSSL_thread_stop();
}

}  // namespace KBL
