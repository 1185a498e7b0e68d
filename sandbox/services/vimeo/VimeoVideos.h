#pragma once

#include "sandbox/services/OauthService.h"

namespace sandbox {

/// Vimeo's video upload by tus 1.0.0: one POST opens the video and names the address of its bytes, PATCHes
/// bring them in order, HEAD tells how far they came. The address is the permission to send. Bytes of a PATCH
/// that broke off count as far as they arrived. Then tags, categories and a thumbnail. A video tells whether
/// its upload is complete, and can be removed.
class VimeoVideos final : public OauthService {
 public:
  explicit VimeoVideos(ServiceContext& context);
  void addTo(Router& router) override;

 private:
  Reply open(const Call& call);
  [[nodiscard]] static std::optional<Reply> refusedVideo(const Json::Value& video);
  [[nodiscard]] Reply progress(const Call& call) const;
  Reply append(const Call& call);
  Reply receive(const Call& call, UploadBook::Loan& upload);

  Reply detail(const Call& call);
  [[nodiscard]] Reply look(const Call& call, const UploadRecord& upload) const;
  Reply remove(const UploadRecord& upload);
  Reply setTags(const Call& call, const std::string& mediaId);
  Reply setCategories(const Call& call, const std::string& mediaId);
  Reply openPicture(const std::string& mediaId);
  Reply showPicture(const Call& call, const std::string& mediaId, const std::string& picture);
  Reply takePicture(const Call& call);
  /// The video of "VIDEO/..." when it is the caller's.
};

}  // namespace sandbox
