#include "authorize/AuthRequestChain.h"

#include "authorize/switchboard/ExternlMediaAuthCallbackProxy.h"

namespace KBL {

AuthRequestChain::AuthRequestChain(const AuthContext& context, std::string uuid)
    : context_(context), uuid_(std::move(uuid)) {}

void AuthRequestChain::append(RefPtr<BsExternlMediaAuthRequest> request) {
  initAuthRequest(context_, uuid_, *request);
  requests_.push_back(std::move(request));
}

_Result AuthRequestChain::start(IBsInfoReader* info, IBsRequstCallback* observer) {
  for (std::size_t index = 0; index < requests_.size(); ++index) {
    requests_[index]->addCallback(&ExternlMediaAuthCallbackProxy::instance(), false);
    if (observer != nullptr) requests_[index]->addCallback(observer, false);
    if (index + 1 < requests_.size()) requests_[index]->addCallback(requests_[index + 1].get(), false);
  }
  if (requests_.empty() || requests_.front()->asyncRequestWithInfo(info) != 0) return resultFailed;
  for (auto& request : requests_) (void)request.leak();  // the workers' from here on
  return resultOk;
}

}  // namespace KBL
