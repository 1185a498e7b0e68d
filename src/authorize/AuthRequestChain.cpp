#include "authorize/AuthRequestChain.h"

#include "authorize/switchboard/ExternlMediaAuthCallbackProxy.h"

namespace KBL {

AuthRequestChain::AuthRequestChain(const AuthContext& context, std::string uuid,
                                   std::shared_ptr<RequestFlow> flow)
    : context_(context), uuid_(std::move(uuid)), flow_(std::move(flow)) {}

void AuthRequestChain::append(RefPtr<BsExternlMediaAuthRequest> request) {
  initAuthRequest(context_, uuid_, *request);
  request->joinFlow(flow_);
  requests_.push_back(std::move(request));
}

_Result AuthRequestChain::start(IBsInfoReader* info, IBsRequstCallback* observer) {
  auto& switchboard = ExternlMediaAuthCallbackProxy::instance();
  // From the last one on, since a request that goes to the one before it goes with all that wait on it.
  for (std::size_t index = requests_.size(); index-- > 0;) {
    BsExternlMediaAuthRequest& request = *requests_[index];
    for (IBsRequstCallback* const callback : {static_cast<IBsRequstCallback*>(&switchboard), observer}) {
      if (callback != nullptr && request.addCallback(callback, false) != resultOk) return resultFailed;
    }
    const bool isLast = index + 1 == requests_.size();
    if (!isLast && request.goOnWith(std::move(requests_[index + 1])) != resultOk) return resultFailed;
  }
  if (requests_.empty() || requests_.front()->asyncRequestWithInfo(info) != 0) return resultFailed;
  (void)requests_.front().leak();  // the worker's from here on
  return resultOk;
}

}  // namespace KBL
