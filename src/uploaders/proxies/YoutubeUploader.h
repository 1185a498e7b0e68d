#pragma once

#include "uploaders/proxies/PlatformUploadProxy.h"

#include <memory>
#include <utility>

namespace KBL {

/// The process-wide callback of all YouTube uploads.
class YoutubeUploadProxyCallbackProxy final : public UploadCallbackProxy {
 public:
  static YoutubeUploadProxyCallbackProxy& instance() {
    return processInstance<YoutubeUploadProxyCallbackProxy>();
  }
};

/// Uploads to YouTube on behalf of `owner`, which hears of the events.
class YoutubeUploadProxy final : public PlatformUploadProxy {
 public:
  explicit YoutubeUploadProxy(std::shared_ptr<IUploadEventSink> owner)
      : PlatformUploadProxy(transferYoutube, YoutubeUploadProxyCallbackProxy::instance(), std::move(owner)) {}
};

/// The number by which the host knows an error code of a YouTube upload: a TransferErrorValue.
[[nodiscard]] inline int youtubeErrorValue(int code) {
  struct Row {
    int code;
    int value;
  };
  static constexpr int serverRefusal = 231500;  // comes from a server only
  static constexpr Row rows[] = {
      {ErrorCode::none, 0},
      {ErrorCode::paramInvalid, transferErrorParam},
      {ErrorCode::tokenExpired, transferErrorToken},
      {ErrorCode::tokenMissing, transferErrorToken},
      {ErrorCode::fileNotExist, transferErrorFile},
      {ErrorCode::fileOpenFailed, transferErrorFile},
      {ErrorCode::fileEmpty, transferErrorFile},
      {serverRefusal, transferErrorRefused},
  };
  for (const Row& row : rows) {
    if (row.code == code) return row.value;
  }
  return transferErrorOther;
}

}  // namespace KBL
