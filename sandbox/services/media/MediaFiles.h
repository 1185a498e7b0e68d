#pragma once

#include "sandbox/services/media/MediaService.h"

namespace sandbox {

/// The pictures and videos themselves, generated as they are asked for. Each has a page below
/// /sandbox/media/ that names its size and SHA-256.
class MediaFiles final : public MediaService {
 public:
  explicit MediaFiles(ServiceContext& context) : MediaService(context) {}
  void addTo(Router& router) override;

 private:
  [[nodiscard]] static Reply picture(const Call& call);
  [[nodiscard]] static Reply video(const Call& call);
  [[nodiscard]] static Reply description(const Call& call);
};

}  // namespace sandbox
