#pragma once

#include "sandbox/services/flickr/NonceBook.h"
#include "sandbox/services/media/MediaService.h"

#include <memory>
#include <utility>

namespace sandbox {

/// Flickr's REST endpoint with the one method that lists all photos, under both generations of signatures,
/// and the host of the small pictures.
class FlickrRest final : public MediaService {
 public:
  FlickrRest(ServiceContext& context, std::shared_ptr<NonceBook> nonces)
      : MediaService(context), nonces_(std::move(nonces)) {}
  void addTo(Router& router) override;
  [[nodiscard]] std::vector<std::pair<std::string, std::string>> urlKeys() const override;

 private:
  struct TokenOwner {
    std::size_t user = 0;
    std::string secret;  ///< that of the token
  };

  [[nodiscard]] std::optional<std::string> applicationSecret(const std::string& key) const;
  [[nodiscard]] std::optional<TokenOwner> ownerOf(const std::string& token) const;
  [[nodiscard]] Reply md5Request(const Call& call) const;
  [[nodiscard]] Reply oauthRequest(const Call& call) const;
  [[nodiscard]] Reply photos(const Call& call, std::size_t user) const;
  [[nodiscard]] Json::Value photo(std::size_t user, std::size_t place, bool withFormat, bool withUrl) const;
  [[nodiscard]] static Reply thumbnail(const Call& call);

  const std::shared_ptr<NonceBook> nonces_;  ///< shared with all else that is signed at Flickr
};

}  // namespace sandbox
