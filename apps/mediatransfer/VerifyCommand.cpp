#include "Commands.h"
#include "Failure.h"
#include "Host.h"
#include "Interrupt.h"
#include "Verification.h"

namespace host {

int runVerify(const Options& options, Report& report) {
  Host host(options, report, Servers::needed);
  switch (verifyLogin(host, options, report)) {
    case Verification::good:
      return Exit::done;
    case Verification::interrupted:
      return Exit::interrupted;
    case Verification::notRenewed:
    case Verification::failed:
      break;
  }
  return Exit::refused;
}

}  // namespace host
