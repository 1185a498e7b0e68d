// The download of KblBaseRequest.
#include "foundation/BsNet/FileDownload.h"
#include "foundation/BsNet/KblBaseRequest.h"
#include "foundation/BsNet/covertToErrorCode.h"

#include <curl/curl.h>

#include <memory>

namespace KBL {
namespace {

/// A file may be of any size: unless the host set limits, only a stalled download ends early.
constexpr long long downloadTimeoutMs = 6LL * 60 * 60 * 1000;
constexpr int downloadStallSeconds = 30;

int transportError(CURLcode code) {
  const int raw = code;
  return covertToErrorCode(&raw);
}

}  // namespace

int KblBaseRequest::download(const char* url, const char* path, IBsProgressCallback* progress,
                             void* context) {
  if (path == nullptr || *path == '\0') return ErrorCode::paramInvalid;
  try {
    const URL address = URL::FromString(url != nullptr ? url : "");
    if (!address.IsValid()) return ErrorCode::urlInvalid;
    const std::unique_ptr<INetworkClient> client(creatNetworkClient());
    if (client == nullptr) return ErrorCode::noNetworkClient;
    FileDownload file(path);
    if (!file.isOpen()) return transportError(CURLE_WRITE_ERROR);

    applySettings(*client, timeoutMs >= 1 ? timeoutMs : downloadTimeoutMs);
    if (lowSpeedSeconds_ < 1) client->setLowSpeed(1, downloadStallSeconds);
    const NetReply reply = client->perform(address, httpGet, &file, nullptr, progress, context);
    if (reply.resultCode != 0) return covertToErrorCode(&reply.resultCode);
    if (reply.httpCode < 200 || reply.httpCode >= 300) return reply.httpCode;
    return file.complete() ? ErrorCode::none : transportError(CURLE_WRITE_ERROR);
  } catch (...) {
    return transportError(CURLE_OUT_OF_MEMORY);
  }
}

}  // namespace KBL
