#pragma once

#include "host/Host.h"
#include "options/Options.h"
#include "report/Report.h"

namespace host {

enum class Verification {
  good,
  notRenewed,  ///< the account server answers but did not renew the token; the stored one may still be good
  failed,
  interrupted
};

/// Has the manager check the stored login of `options.user` and renew its token, and reports every event of
/// it. From then on the manager keeps the token fresh in the background.
[[nodiscard]] Verification verifyLogin(Host& host, const Options& options, Report& report);

}  // namespace host
