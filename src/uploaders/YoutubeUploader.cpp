#include "uploaders/YoutubeUploader.h"

#include <utility>

namespace KBL {

YoutubeUploadProxyCallbackProxy& YoutubeUploadProxyCallbackProxy::instance() {
  return processInstance<YoutubeUploadProxyCallbackProxy>();
}

YoutubeUploadProxy::YoutubeUploadProxy(std::shared_ptr<IUploadEventSink> owner)
    : PlatformUploadProxy(transferYoutube, YoutubeUploadProxyCallbackProxy::instance(), std::move(owner)) {}

int youtubeErrorValue(int code) {
  struct Row {
    int code;
    int value;
  };
  static constexpr int anyOtherCode = 10;
  static constexpr int serverRefusal = 231500;  // comes from a server only
  static constexpr Row rows[] = {
      {ErrorCode::none, 0},         {ErrorCode::paramInvalid, 2},  {ErrorCode::tokenExpired, 9},
      {ErrorCode::tokenMissing, 9}, {ErrorCode::fileNotExist, 14}, {ErrorCode::fileOpenFailed, 14},
      {ErrorCode::fileEmpty, 14},   {serverRefusal, 13},
  };
  for (const Row& row : rows) {
    if (row.code == code) return row.value;
  }
  return anyOtherCode;
}

}  // namespace KBL
