#pragma once

#include "authorize/switchboard/IBsExternlMediaAuthorize.h"

#include <string>

namespace KBL {

/// What the switchboard needs of a registered manager beyond its public interfaces.
class ISwitchboardManager {
 public:
  /// Adds a reference unless the last one has gone. Called under the switchboard's lock, against which the
  /// final decrement is made.
  [[nodiscard]] virtual bool addReferenceUnlessZero() = 0;
  [[nodiscard]] virtual IBsExternlMediaAuthorize* authorize() = 0;
  /// The platform token of the user, cut to 8192 characters; empty when there is none. Logs like
  /// `getAccessToken`.
  [[nodiscard]] virtual std::string accessToken(const std::string& uuid) = 0;

 protected:
  ~ISwitchboardManager() = default;
};

}  // namespace KBL
