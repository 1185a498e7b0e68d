#pragma once

#include "foundation/KblUtils/FileStream.h"
#include "uploaders/UploadFileRequest.h"
#include "uploaders/VideoFile.h"

#include <cstdint>
#include <optional>
#include <source_location>
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

  /// Reads "data" / "error_code" of a reply: 1 when it is 0 or missing, else 0 with the number, and as the
  /// message what the service has under `messageMember`. A reply that is no JSON is logged, with `what`
  /// before the code.
  int checkData(const std::string& content, Json::Value& root, std::string& message, int& code,
                const char* messageMember, const char* what,
                const std::source_location& caller = std::source_location::current());
};

}  // namespace KBL
