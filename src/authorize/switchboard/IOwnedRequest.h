#pragma once

#include <string>

namespace KBL {

/// What the switchboard needs of a request: whose it is. Implemented by BsExternlMediaAuthRequest; reached by
/// a run-time cast, inside the library only.
class IOwnedRequest {
 public:
  /// `logTag` of the owning manager; set before the request starts and not changed afterwards.
  [[nodiscard]] virtual const std::string& ownerTag() const = 0;

 protected:
  ~IOwnedRequest() = default;
};

}  // namespace KBL
