#pragma once

#include "sandbox/services/Service.h"

#include <cstdint>
#include <optional>

namespace sandbox {

/// TikTok's upload of a video in one request: token and open id in the query, and a form whose one field,
/// "video", is the file. Bytes are hashed as they arrive and never kept.
class TiktokUpload final : public Service {
 public:
  explicit TiktokUpload(ServiceContext& context) : context_(context) {}
  void addTo(Router& router) override;
  [[nodiscard]] std::vector<std::pair<std::string, std::string>> urlKeys() const override;

  static constexpr std::uint64_t largestVideo = std::uint64_t{50} * 1024 * 1024;

 private:
  Reply upload(const Call& call);
  /// Reads the form into `record`; what is wrong with it, or nothing.
  std::optional<Reply> readForm(const Call& call, UploadRecord& record) const;

  ServiceContext& context_;
};

}  // namespace sandbox
