#pragma once

#include "uploaders/requests/UploadFileRequest.h"
#include <KblUtils/FileStream.h>

#include <cstdint>
#include <optional>
#include <string>

namespace KBL {

/// What the uploads share whose service names the user by an open id, limits the size of a file and answers
/// with an object "data".
class OpenIdUploadFileRequest : public UploadFileRequest {
 public:
  using UploadFileRequest::UploadFileRequest;

 protected:
  /// Who uploads what.
  struct Upload {
    std::string openId;
    std::string token;
    std::string path;
    FileStream file;
    std::uint64_t fileSize = 0;
  };

  /// The share id.
  [[nodiscard]] std::optional<std::string> resultIn(const Json::Value& root) const override;

  /// Makes `info` the reply record and fills `upload`. What is missing or wrong is refused in `reply`, before
  /// anything is sent.
  [[nodiscard]] _Result prepare(IBsInfoReader* info, const FileLimit& limit, NetReply& reply, Upload& upload);
};

}  // namespace KBL
