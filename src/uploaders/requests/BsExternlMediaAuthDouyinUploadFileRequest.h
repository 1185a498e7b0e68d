#pragma once

#include "uploaders/requests/FilePieces.h"
#include "uploaders/requests/OpenIdUploadFileRequest.h"

#include <cstdint>
#include <string>

namespace KBL {

/// Sends one video to Douyin: a call that opens the upload, a call for each part of 4 MiB, and a call that
/// completes it. The completing call is made whatever ended the parts, the user's cancel included, and its
/// answer alone decides how the upload ended.
class BsExternlMediaAuthDouyinUploadFileRequest : public OpenIdUploadFileRequest {
 public:
  static constexpr FileLimit fileLimit{134217728, "128MB"};
  static constexpr std::uint64_t partSize = 4194304;
  static constexpr int triesPerPart = 3;

  BsExternlMediaAuthDouyinUploadFileRequest();

  /// 1 when the upload could not be opened: the reason is in `reply`, or in `errorInfo` when the service
  /// refused it. 0 once the parts began, whatever became of them.
  _Result Request(IBsInfoReader* info, INetworkClient* client, NetReply* reply) override;
  int checkResponseValid(const std::string& content, Json::Value& root, std::string& message,
                         int& code) override;

  /// Sends one part, which starts at `offset` of a file of `fileSize` bytes, at most `maxTries` times; the
  /// last answer stands in `reply`. The last body stays with the client. True when the service accepted it,
  /// else the upload is marked as failed.
  bool retryUpload(INetworkClient* client, const std::string& uri, int partNumber, const ChunkBody& body,
                   std::uint64_t fileSize, std::uint64_t offset, IBsInfoReader* info, NetReply* reply,
                   int maxTries);

 private:
  void post(INetworkClient& client, NetReply& reply, const std::string& address) const;
  [[nodiscard]] bool open(const Upload& upload, INetworkClient& client, NetReply& reply,
                          std::string& uploadId);
  void sendParts(const Upload& upload, FilePieces& pieces, const std::string& uploadId, IBsInfoReader* info,
                 INetworkClient* client, NetReply* reply);
  void complete(const Upload& upload, const std::string& uploadId, const FilePieces& pieces,
                IBsInfoReader* info, INetworkClient& client, NetReply& reply);
};

}  // namespace KBL
