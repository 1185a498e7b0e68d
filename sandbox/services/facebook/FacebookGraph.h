#pragma once

#include "sandbox/services/media/MediaService.h"

#include <initializer_list>
#include <string_view>

namespace sandbox {

/// Facebook's Graph API, version 2.2: albums, an album's photos, posts with videos, one video. Pages follow
/// by the "next" address, whose cursor must come back exactly as it was given.
class FacebookGraph final : public MediaService {
 public:
  explicit FacebookGraph(ServiceContext& context) : MediaService(context) {}
  void addTo(Router& router) override;
  [[nodiscard]] std::vector<std::pair<std::string, std::string>> urlKeys() const override;

 private:
  struct Page {
    std::size_t begin = 0;
    std::size_t end = 0;
    std::size_t total = 0;
  };

  [[nodiscard]] Reply answer(const Call& call, const std::function<Reply(std::size_t user)>& serve) const;
  [[nodiscard]] Reply albums(const Call& call, std::size_t user) const;
  [[nodiscard]] Reply posts(const Call& call, std::size_t user) const;
  /// "ALBUM/photos", "VIDEO" or "/VIDEO".
  [[nodiscard]] Reply object(const Call& call, std::size_t user) const;
  [[nodiscard]] Reply photos(const Call& call, std::size_t user, std::size_t album) const;
  [[nodiscard]] Json::Value video(std::size_t user, std::size_t place) const;
  [[nodiscard]] Json::Value photo(std::size_t user, std::size_t album, std::size_t place) const;
  [[nodiscard]] Json::Value post(std::size_t user, std::size_t place) const;

  [[nodiscard]] static std::optional<Page> pageOf(const Call& call, std::size_t total);
  [[nodiscard]] static Json::Value filtered(const Call& call, const Json::Value& entry);
  [[nodiscard]] static std::string strangeField(const Call& call,
                                                std::initializer_list<std::string_view> known);
  [[nodiscard]] static Reply noSuchField(const Call& call, const std::string& name);
  [[nodiscard]] Reply listing(const Call& call, const Page& page, const Json::Value& entries) const;
  [[nodiscard]] static Reply failure(const Call& call, int code, const std::string& type,
                                     const std::string& message);
};

}  // namespace sandbox
