#pragma once

#include "sandbox/services/Service.h"

namespace sandbox {

/// The page for people who look on, its files and the events that keep it up to date.
class Page final : public Service {
 public:
  explicit Page(ServiceContext& context) : context_(context) {}
  void addTo(Router& router) override;

 private:
  [[nodiscard]] static Reply file(const std::string& name);
  [[nodiscard]] Reply events() const;
  [[nodiscard]] Reply exchange(const Call& call) const;
  [[nodiscard]] Reply video(const Call& call) const;

  ServiceContext& context_;
};

}  // namespace sandbox
