#pragma once

#include "uploaders/BsExternlMediaAuthYoutubeUploadFileRequest.h"
#include "uploaders/UploadRequestFixture.h"

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
    for (std::size_t i = 1; i < network_.sent.size(); ++i) {
      ranges.push_back(network_.sent[i].header("Content-Range"));
    }
    return ranges;
  }
};
