#pragma once

#include "sandbox/services/Service.h"

namespace sandbox {

/// What another process can see and do of what Sandbox offers in this one. Below /sandbox/, JSON both ways.
class Inspection final : public Service {
 public:
  explicit Inspection(ServiceContext& context) : context_(context) {}
  void addTo(Router& router) override;

 private:
  Reply uploads() const;
  Reply requests(const Call& call) const;
  Reply users() const;
  Reply chooseUser(const Call& call);
  Reply logins() const;
  Reply faults() const;
  Reply orderFault(const Call& call);
  Reply clearFaults(const Call& call);
  Reply decideLogin(const Call& call);
  Reply setConsent(const Call& call);
  Reply expireTokens(const Call& call);
  Reply endTokens(const Call& call);

  ServiceContext& context_;
};

}  // namespace sandbox
