#pragma once

#include "sandbox/services/Service.h"

#include <cstdint>
#include <optional>

namespace sandbox {

/// Douyin's upload in parts: one request opens it and names its id, parts follow in their order, one request
/// completes it. The open id is all that names the user: a token on the wire is refused. Bytes are hashed as
/// they arrive and never kept.
class DouyinUpload final : public Service {
 public:
  explicit DouyinUpload(ServiceContext& context) : context_(context) {}
  void addTo(Router& router) override;
  [[nodiscard]] std::vector<std::pair<std::string, std::string>> urlKeys() const override;

  /// Every part but the last has this size.
  static constexpr std::uint64_t partSize = std::uint64_t{4} * 1024 * 1024;
  static constexpr std::uint64_t largestVideo = std::uint64_t{128} * 1024 * 1024;

 private:
  Reply init(const Call& call);
  Reply part(const Call& call);
  Reply complete(const Call& call);

  /// The open upload that the query names, for as long as the request runs, or what is wrong with it.
  struct Found {
    std::optional<UploadBook::Loan> upload;
    Reply refusal;
  };
  Found find(const Call& call);
  Reply takePart(const Call& call, std::uint64_t number, UploadBook::Loan& upload) const;

  ServiceContext& context_;
};

}  // namespace sandbox
