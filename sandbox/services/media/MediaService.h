#pragma once

#include "sandbox/base/MediaAccounts.h"
#include "sandbox/services/Service.h"
#include "sandbox/services/media/MediaLibrary.h"

#include <json/value.h>

#include <optional>
#include <string>

namespace sandbox {

/// What the services of people's media share: who a token belongs to, and the library of everybody's media.
class MediaService : public Service {
 protected:
  explicit MediaService(ServiceContext& context) : context_(context), library_(context.options.mediaPhotos) {}

  /// The number of the user whose account has this text there, or who got it as the token of a login at the
  /// platform; nothing for an unknown one.
  [[nodiscard]] std::optional<std::size_t> userWith(std::string MediaAccount::*field, const std::string& text,
                                                    Platform platform) const;
  /// A whole-number parameter of the query, 1 at least; `otherwise` without it or for anything else.
  [[nodiscard]] static std::size_t countParameter(const Call& call, const char* name, std::size_t otherwise);
  [[nodiscard]] static Reply json(const Json::Value& value, int status = 200);
  [[nodiscard]] std::string pictureUrl(const std::string& id, unsigned width, unsigned height) const;

  ServiceContext& context_;
  const MediaLibrary library_;
};

}  // namespace sandbox
