#include "authorize/TokenRenewals.h"

#include "authorize/switchboard/ExternlMediaAuthCallbackProxy.h"

#include <utility>

namespace KBL {

TokenRenewal::TokenRenewal(std::shared_ptr<TokenRenewals> renewals, std::string uuid, Verification own)
    : renewals_(std::move(renewals)), uuid_(std::move(uuid)), isVerification_(static_cast<bool>(own)) {
  if (own) owed_.push_back(std::move(own));
}

TokenRenewal::~TokenRenewal() {
  try {
    const auto owed = renewals_->end(*this);
    if (!owed) return;
    ExternlMediaAuthCallbackProxy::instance().renewalUnanswered(renewals_->ownerTag_, uuid_, *owed);
  } catch (...) {
    // The renewal has ended all the same.
  }
}

std::vector<Verification> TokenRenewal::end() {
  auto owed = renewals_->end(*this);
  if (!owed) return {};
  if (isVerification_) owed->erase(owed->begin());
  return std::move(*owed);
}

TokenRenewals::TokenRenewals(std::string ownerTag) : ownerTag_(std::move(ownerTag)) {}

std::shared_ptr<TokenRenewal> TokenRenewals::begin(const std::string& uuid, Verification verification) {
  // Goes, unused, outside the lock.
  const auto made = std::make_shared<TokenRenewal>(shared_from_this(), uuid, verification);
  const std::lock_guard lock(mutex_);
  const auto [place, entered] = running_.try_emplace(uuid, made.get());
  if (!entered) {
    if (verification) place->second->owed_.push_back(std::move(verification));
    return nullptr;
  }
  made->ended_ = false;
  return made;
}

std::optional<std::vector<Verification>> TokenRenewals::end(TokenRenewal& renewal) {
  const std::lock_guard lock(mutex_);
  if (std::exchange(renewal.ended_, true)) return std::nullopt;
  running_.erase(renewal.uuid_);
  return std::move(renewal.owed_);
}

}  // namespace KBL
