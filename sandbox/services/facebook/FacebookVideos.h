#pragma once

#include "sandbox/services/OauthService.h"
#include "sandbox/services/UploadForm.h"

namespace sandbox {

/// Facebook's video upload in three phases. "start" tells the size; "transfer" sends exactly the bytes from
/// the offset that the service named, no further than its end; "finish" brings the metadata. Offsets are
/// texts.
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
  [[nodiscard]] Reply offsets(const UploadRecord& upload) const;
  [[nodiscard]] Json::Value offsetsOf(const UploadRecord& upload) const;
  [[nodiscard]] static std::optional<Reply> refusedMetadata(const Step& step);
};

}  // namespace sandbox
