#pragma once

#include "uploaders/requests/OpenIdUploadFileRequest.h"

#include <cstdint>
#include <string>

namespace KBL {

/// Sends one video to TikTok in a single exchange, as a form that the client streams from disk. It watches
/// the running transfer, so it alone reports progress within it and ends it when the upload is stopped.
class BsExternlMediaAuthTiktokUploadFileRequest : public OpenIdUploadFileRequest {
 public:
  static constexpr FileLimit fileLimit{52428800, "50MB"};

  BsExternlMediaAuthTiktokUploadFileRequest();

  /// 1 when nothing was sent, with the reason in `reply`; 0 when the exchange was made.
  _Result Request(IBsInfoReader* info, INetworkClient* client, NetReply* reply) override;
  int checkResponseValid(const std::string& content, Json::Value& root, std::string& message,
                         int& code) override;
  /// Delivers the percentage each time the client calls, also an unchanged one, and inside that call: a host
  /// that is slow to take it slows the transfer. False when the upload was stopped.
  bool onProgress(long long downloadTotal, long long downloaded, long long uploadTotal,
                  long long uploaded) override;

 private:
  [[nodiscard]] int percentOf(long long sent) const;

  std::int64_t uploadSize_ = 0;  ///< bytes of the file
};

}  // namespace KBL
