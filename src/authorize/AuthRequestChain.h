#pragma once

#include "authorize/switchboard/AuthContext.h"
#include "requests/BsExternlMediaAuthRequest.h"
#include <KblUtils/RefPtr.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace KBL {

/// Requests that run one after the other, each with the same record: a finished one starts the next, a failed
/// one drops those that wait. Until the start the chain owns the creators' references; the start links each
/// request to the one before it, and one that succeeded hands the first to its worker, so that nothing of the
/// chain is touched afterwards.
class AuthRequestChain {
 public:
  /// All requests are set up for this manager and this user, and are steps of `flow` (null: of none);
  /// `context` outlives the chain.
  AuthRequestChain(const AuthContext& context, std::string uuid, std::shared_ptr<RequestFlow> flow = nullptr);

  /// Adds a request behind the others.
  template <class Request>
  RefPtr<Request> append() {
    RefPtr<Request> request = makeRef<Request>();
    append(request);
    return request;
  }
  void append(RefPtr<BsExternlMediaAuthRequest> request);

  /// Registers the callbacks of every request, in this order: the switchboard, `observer` (null: none), the
  /// next request. Then starts the first one. resultOk when it was started.
  [[nodiscard]] _Result start(IBsInfoReader* info, IBsRequstCallback* observer = nullptr);

 private:
  const AuthContext& context_;
  std::string uuid_;
  std::shared_ptr<RequestFlow> flow_;
  std::vector<RefPtr<BsExternlMediaAuthRequest>> requests_;
};

}  // namespace KBL
