// The TLS library of Windows keeps nothing for a thread, its state outlives the process's exit handlers, and
// no process is forked.
#include "foundation/tls/TlsLibrary.h"

namespace KBL {

void setUpTlsLibrary() {}

long processNumber() {
  return 0;
}

TlsThread::~TlsThread() = default;
void TlsThread::putErrorsAside() {}
void TlsThread::putErrorsBack() {}
void TlsThread::leave() {}

}  // namespace KBL
