#pragma once

#include "uploaders/requests/BsExternlMediaAuthYoutubeUploadFileRequest.h"
#include "uploaders/requests/UploadRequestFixture.h"

inline constexpr std::uint64_t mebi2 = 2097152;
inline constexpr const char* uploadUrl = "http://127.0.0.1:9/upload/videos";
inline constexpr const char* sessionUri = "http://127.0.0.1:9/session/1";
inline constexpr const char* goodAnswer = R"({"kind":"youtube#video","id":"abc123"})";

class YoutubeUpload : public UploadRequestFixture<KBL::BsExternlMediaAuthYoutubeUploadFileRequest> {
 protected:
  YoutubeUpload()
      : UploadRequestFixture(KBL::ema_youtube, {{"urlExternlMediaAuthYoutubeUpload", uploadUrl}}) {}

  void replySession() { network_.reply(200, "", {{"Location", sessionUri}}); }
  [[nodiscard]] std::vector<std::string> sentRanges() const {
    std::vector<std::string> ranges;
    for (const SentExchange& exchange : network_.exchanges()) {
      if (exchange.number > 1) ranges.push_back(exchange.header("Content-Range"));
    }
    return ranges;
  }
};
