#pragma once

#include "sandbox/server/Endpoint.h"

namespace sandbox {

/// The handler for this machine's programs and the sandbox's own pages. Everybody else is answered 403: a
/// browser sends the name under which it found us, the origin of the page that asks and how far that is from
/// us. A page from elsewhere must not reach what tells tokens and orders faults: neither by a form or script
/// of its own nor by a name of its own that leads to this machine.
[[nodiscard]] Handler forSameOrigin(Handler handler);

}  // namespace sandbox
