#pragma once

#include "sandbox/services/OauthService.h"
#include "sandbox/services/UploadForm.h"

namespace sandbox {

/// Facebook's video upload in three phases. "start" tells the size; "transfer" sends exactly the bytes from
/// the offset that the service named, no further than its end; "finish" brings the metadata. Offsets are
/// texts. A video tells how far its publication is, and can be removed.
class FacebookVideos final : public OauthService {
 public:
  explicit FacebookVideos(ServiceContext& context);
  void addTo(Router& router) override;
  [[nodiscard]] std::vector<std::pair<std::string, std::string>> scriptKeys() const override;

  static constexpr int codeUploadProblem = 6000;
  static constexpr int wrongOffset = 1363037;  ///< subcode; error_data tells where to go on

 private:
  /// One call of any phase.
  struct Step {
    const Call& call;
    FormFields fields;
    const UploadForm* form;  ///< null for a body without files
    std::string openId;
  };
  Reply upload(const Call& call);
  Reply start(const Step& step);
  Reply transfer(const Step& step, UploadBook::Loan& upload) const;
  Reply finish(const Step& step, UploadBook::Loan& upload);
  /// The caller's video of the path.
  [[nodiscard]] std::optional<UploadRecord> theirs(const Call& call, const std::string& openId) const;
  Reply look(const Call& call);
  Reply remove(const Call& call);
  [[nodiscard]] static Json::Value statusOf(const UploadRecord& upload);
  [[nodiscard]] Reply offsets(const UploadRecord& upload) const;
  [[nodiscard]] Json::Value offsetsOf(const UploadRecord& upload) const;
  [[nodiscard]] static std::optional<Reply> refusedMetadata(const Step& step);
};

}  // namespace sandbox
