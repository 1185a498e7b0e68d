#pragma once

#include "sandbox/services/Service.h"

#include <json/value.h>

#include <cstdint>
#include <optional>

namespace sandbox {

/// YouTube's resumable upload: one POST opens a session and names its address, PUTs with ascending byte
/// ranges follow. Bytes are hashed as they arrive and never kept. A chunk counts only when it came whole;
/// bytes that were accepted before and are sent again (the answer was lost) are skipped.
class YoutubeUpload final : public Service {
 public:
  explicit YoutubeUpload(ServiceContext& context) : context_(context) {}
  void addTo(Router& router) override;
  [[nodiscard]] std::vector<std::pair<std::string, std::string>> urlKeys() const override;

  /// Where the uploader scripts find it; their requests leave "alt" to its default.
  static constexpr const char* scriptBase = "/youtube-scripts/upload/v3";
  /// Every chunk but the last is a multiple of this.
  static constexpr std::uint64_t chunkUnit = std::uint64_t{256} * 1024;

 private:
  /// A Content-Range header: "bytes FIRST-LAST/TOTAL", or "bytes */TOTAL" for a question.
  struct Range {
    bool question = false;
    std::uint64_t first = 0;
    std::uint64_t last = 0;
    std::uint64_t total = 0;
  };
  [[nodiscard]] static std::optional<Range> parseRange(const std::string& text);

  [[nodiscard]] static std::uint64_t countingOf(const Call& call, std::uint64_t first, std::uint64_t size);

  Reply open(const Call& call);
  Reply put(const Call& call);
  Reply chunk(const Call& call, const Range& range, UploadBook::Loan& upload);
  [[nodiscard]] std::optional<Reply> refusedMetadata(const Json::Value& metadata) const;
  [[nodiscard]] Reply state(const UploadRecord& upload) const;

  ServiceContext& context_;
};

}  // namespace sandbox
