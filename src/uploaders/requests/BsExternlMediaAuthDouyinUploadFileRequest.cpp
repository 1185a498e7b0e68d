#include "uploaders/requests/BsExternlMediaAuthDouyinUploadFileRequest.h"

#include "json/JsonAccess.h"
#include <ExternlMediaTransfer/ExternlMediaKeys.h>
#include <KblLogger/KblLogger.h>

#include <algorithm>
#include <map>

namespace KBL {

namespace {
constexpr const char* openKey = "urlExternlMediaAuthDouyinVideoPartInit";
constexpr const char* partKey = "urlExternlMediaAuthDouyinVideoPartUpload";
constexpr const char* completeKey = "urlExternlMediaAuthDouyinVideoPartComplete";
constexpr const char* readFailed = "read file error";

/// Percentage shown while a part is tried: one point behind the bytes, as if the try had been accepted.
int shownPercent(std::uint64_t sent, std::uint64_t fileSize) {
  const auto percent =
      fileSize == 0 ? 0 : static_cast<std::int64_t>(100 * sent) / static_cast<std::int64_t>(fileSize);
  return percent > 0 ? static_cast<int>(percent - 1) : 0;
}
}  // namespace

BsExternlMediaAuthDouyinUploadFileRequest::BsExternlMediaAuthDouyinUploadFileRequest()
    : OpenIdUploadFileRequest(RequestConstants{requestDouyinUploadFile, httpPost,
                                               "urlExternlMediaAuthDouyinUpload",
                                               "ExternlMediaAuthDouyinUpload"}) {}

_Result BsExternlMediaAuthDouyinUploadFileRequest::Request(IBsInfoReader* info, INetworkClient* client,
                                                           NetReply* reply) {
  Upload upload;
  if (prepare(info, fileLimit, *reply, upload) != resultOk) return resultFailed;
  std::string uploadId;
  if (!open(upload, *client, *reply, uploadId)) return resultFailed;
  FilePieces pieces(upload.file, *client);
  sendParts(upload, pieces, uploadId, info, client, reply);
  complete(upload, uploadId, pieces, info, *client, *reply);
  return resultOk;
}

void BsExternlMediaAuthDouyinUploadFileRequest::post(INetworkClient& client, NetReply& reply,
                                                     const std::string& address) const {
  reply = client.perform(URL::FromString(address), httpMethod(), nullptr, nullptr, nullptr, nullptr);
}

bool BsExternlMediaAuthDouyinUploadFileRequest::open(const Upload& upload, INetworkClient& client,
                                                     NetReply& reply, std::string& uploadId) {
  // Filled and never given to the client, which is required as it stands: the service sees neither of them.
  [[maybe_unused]] const std::map<std::string, std::string> headers{{"Content-Type", "application/json"},
                                                                    {"access-token", upload.token}};
  post(client, reply, RequestExchange::configuredUrl(openKey) + "?open_id=" + upload.openId);
  Json::Value root;
  std::string message;
  int code = ErrorCode::none;
  if (checkResponseValid(reply.content, root, message, code) == 0) {
    report(code, message);
    return false;
  }
  uploadId = jsonId(jsonMember(root, "data"), "upload_id").value_or("");
  return true;
}

void BsExternlMediaAuthDouyinUploadFileRequest::sendParts(const Upload& upload, FilePieces& pieces,
                                                          const std::string& uploadId, IBsInfoReader* info,
                                                          INetworkClient* client, NetReply* reply) {
  const std::string address = RequestExchange::configuredUrl(partKey) + "?open_id=" + upload.openId +
                              "&upload_id=" + uploadId + "&part_number=";
  std::uint64_t offset = 0;
  int partNumber = 0;
  while (!isUploadStopped(ownerTag(), info)) {
    ++partNumber;
    report(ErrorCode::none, "");
    // Never past the size that was found, should the file grow meanwhile.
    const std::uint64_t size = pieces.moveTo(offset, std::min(partSize, upload.fileSize - offset));
    // The end of every file comes here, too: no test of the offset ends the loop. The good answer to the
    // completing call overwrites the error.
    if (size == 0) return fail(info, ErrorCode::partReadFailed, readFailed);
    if (!retryUpload(client, address + std::to_string(partNumber), partNumber, ChunkBody(pieces, size),
                     upload.fileSize, offset, info, reply, triesPerPart)) {
      return;
    }
    offset += size;
  }
}

bool BsExternlMediaAuthDouyinUploadFileRequest::retryUpload(INetworkClient* client, const std::string& uri,
                                                            int partNumber, const ChunkBody& body,
                                                            std::uint64_t fileSize, std::uint64_t offset,
                                                            IBsInfoReader* info, NetReply* reply,
                                                            int maxTries) {
  for (int tries = 0; tries < maxTries; ++tries) {
    if (tries > 0)
      KBL_LOG(severityInfo, "upload part, " << partNumber << ", try: " << tries << "/" << maxTries);
    body.giveTo(*client);
    post(*client, *reply, uri);
    if (body.isCut()) {
      fail(info, ErrorCode::partReadFailed, readFailed);
      return false;
    }
    // Told before the answer is looked at: the refusal of the try before still stands beside it, so that the
    // host hears of an error which a later try may mend.
    deliverProgress(info, shownPercent(offset + body.size(), fileSize));
    Json::Value root;
    std::string message;
    int code = ErrorCode::none;
    if (checkResponseValid(reply->content, root, message, code) != 0) return true;
    report(code, message);
    pauseBeforeNextTry(info);
  }
  failAfterTries(info, maxTries);
  deliver(info);
  return false;
}

void BsExternlMediaAuthDouyinUploadFileRequest::complete(const Upload& upload, const std::string& uploadId,
                                                         const FilePieces& pieces, IBsInfoReader* info,
                                                         INetworkClient& client, NetReply& reply) {
  const std::string address =
      RequestExchange::configuredUrl(completeKey) + "?open_id=" + upload.openId + "&upload_id=" + uploadId;
  // No body is set, so the last part's bytes go out once more; the service ignores them.
  post(client, reply, address);
  if (pieces.isCut()) {
    // The file has gone since, which is no reason to leave an upload open that the service has all parts of.
    client.setBody({});
    post(client, reply, address);
  }
  Json::Value root;
  std::string message;
  int code = ErrorCode::none;
  if (checkResponseValid(reply.content, root, message, code) == 0) {
    fail(info, code, message);
  } else {
    // The frame reads the share id only later, so the address is empty here and stays so.
    succeed(info, resultId());
  }
  deliver(info);
}

int BsExternlMediaAuthDouyinUploadFileRequest::checkResponseValid(const std::string& content,
                                                                  Json::Value& root, std::string& message,
                                                                  int& code) {
  return checkReply(douyinReply, content, root, message, code);
}

}  // namespace KBL
