#pragma once

#include "uploaders/requests/FilePieces.h"
#include "uploaders/requests/UploadFileRequest.h"
#include <KblUtils/FileStream.h>

#include <cstdint>
#include <map>
#include <optional>
#include <string>

namespace KBL {

/// Sends one video to YouTube with the resumable upload protocol: one exchange that opens a session with the
/// video's metadata, then the file in chunks. Memory does not grow with the file: the client reads each chunk
/// from the file while it sends it; one that cannot gets a copy of a chunk buffer.
class BsExternlMediaAuthYoutubeUploadFileRequest : public UploadFileRequest {
 public:
  static constexpr std::uint64_t chunkSize = 2097152;
  static constexpr int triesPerChunk = 3;

  BsExternlMediaAuthYoutubeUploadFileRequest();

  /// Always resultOk: what went wrong stands in `errorInfo`.
  _Result Request(IBsInfoReader* info, INetworkClient* client, NetReply* reply) override;
  int checkResponseValid(const std::string& content, Json::Value& root, std::string& message,
                         int& code) override;
  /// Reads nothing while an error stands on `error`.
  int parseEnvelope(IBsInfoReader* info, const std::string& content, IBsErrorInfo* error,
                    NetReply* reply) override;

  /// Sends one chunk, which starts at `offset` of a file of `fileSize` bytes, at most `maxTries` times; the
  /// last answer stands in `reply`. True: go on with the next chunk. False: every try was refused, or the
  /// file could not be read, and the upload is marked as failed.
  bool retryUpload(INetworkClient* client, const std::string& uri,
                   const std::map<std::string, std::string>& headers, const ChunkBody& body,
                   std::uint64_t fileSize, std::uint64_t offset, IBsInfoReader* info, NetReply* reply,
                   int maxTries);

 protected:
  /// The id, where the answer also names its kind.
  [[nodiscard]] std::optional<std::string> resultIn(const Json::Value& root) const override;

 private:
  /// Gives the client what opens the session: headers, and the metadata as the body.
  static void describeVideo(IBsInfoReader* info, INetworkClient* client, const std::string& token,
                            std::uint64_t fileSize);
  /// `fileSize` is what the session was opened with, whatever becomes of the file meanwhile.
  void sendChunks(FileStream& file, std::uint64_t fileSize, const std::string& resumableUri,
                  std::string token, IBsInfoReader* info, INetworkClient* client, NetReply* reply);
};

}  // namespace KBL
