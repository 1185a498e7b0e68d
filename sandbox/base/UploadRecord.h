#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace sandbox {

/// One chunk or part that was accepted.
struct UploadedChunk {
  std::uint64_t offset = 0;
  std::uint64_t size = 0;
  std::string token;  ///< the token that came with it, if any
};

/// One upload that a service took in, or is taking in.
struct UploadRecord {
  /// "youtube", "tiktok", "douyin", "facebook", "vimeo", "flickr", "instagram" or "twitch"
  std::string service;
  std::string uploadId;   ///< of the upload session
  std::string mediaId;    ///< the finished video's id; set from the start, shown to the client at the end
  std::string openId;     ///< whose upload it is
  std::string fileName;   ///< of a form's file field
  std::string mediaType;  ///< announced type, such as "application/octet-stream"
  /// JSON text: of the session opening, as sent (youtube, vimeo), or made of what the client sent as fields.
  std::string metadata;
  std::vector<std::pair<std::string, std::string>> headers;  ///< of the session opening
  std::uint64_t announcedSize = 0;                           ///< 0 where none is announced
  std::uint64_t receivedSize = 0;
  std::string
      sha256;  ///< lower-case hex of the received bytes; empty until complete (or with hashUploads off)
  bool complete = false;
  std::vector<UploadedChunk> chunks;
};

}  // namespace sandbox
