#include "uploaders/requests/BsExternlMediaAuthYoutubeUploadFileRequest.h"

#include "foundation/Texts.h"
#include "json/JsonAccess.h"
#include <ExternlMediaTransfer/ExternlMediaKeys.h>
#include <KblLogger/KblLogger.h>

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <utility>

namespace KBL {

namespace {
constexpr int httpResumeIncomplete = 308;
constexpr const char* readFailed = "read file error";
constexpr const char* watchPage = "https://www.youtube.com/watch?v=";  // of every installation
// The service is asked about recording details although the metadata has none; the query stays as it is.
constexpr const char* sessionQuery = "?part=snippet,status,recordingDetails&alt=json&uploadType=resumable";

using Headers = std::map<std::string, std::string>;

/// A session that was opened in secret must not take the token and the video in the clear.
bool isHttps(std::string_view address) {
  constexpr std::string_view scheme = "https:";
  return readsLike(address.substr(0, scheme.size()), scheme);
}

std::string bearer(const std::string& token) {
  return "Bearer " + token;
}

/// Compact JSON of what the host said of the video. The tags travel as one text.
std::string metadata(const std::string& title, const std::string& description, const std::string& tags,
                     const std::string& privacy) {
  Json::Value root;
  root["snippet"]["title"] = title;
  root["snippet"]["description"] = description;
  root["snippet"]["tags"] = tags;
  root["status"]["privacyStatus"] = privacy;
  root["status"]["license"] = "youtube";
  return compactJson(root);
}

Headers chunkHeaders(std::uint64_t offset, std::uint64_t size, std::uint64_t fileSize,
                     const std::string& token) {
  return {{"Content-Range", "bytes " + std::to_string(offset) + "-" + std::to_string(offset + size - 1) +
                                "/" + std::to_string(fileSize)},
          {"Content-Length", std::to_string(size)},
          {"Authorization", bearer(token)},
          {"accept-encoding", "gzip, deflate"}};
}

/// Percentage shown after `sent` bytes were accepted: one point behind the bytes, since 100 is kept for the
/// answer that names the video. Computed in single precision as hosts know it; the whole file is told apart
/// because the rounded product can fall short of 100.
int shownPercent(std::uint64_t sent, std::uint64_t fileSize) {
  const float percent =
      sent >= fileSize ? 100.0F : 100.0F * static_cast<float>(sent) / static_cast<float>(fileSize);
  return std::max(static_cast<int>(percent) - 1, 0);
}
}  // namespace

BsExternlMediaAuthYoutubeUploadFileRequest::BsExternlMediaAuthYoutubeUploadFileRequest()
    : UploadFileRequest(RequestConstants{requestYoutubeUploadFile, httpPost,
                                         "urlExternlMediaAuthYoutubeUpload",
                                         "ExternlMediaAuthYoutubeUpload"}) {}

_Result BsExternlMediaAuthYoutubeUploadFileRequest::Request(IBsInfoReader* info, INetworkClient* client,
                                                            NetReply* reply) {
  reply->resultCode = 0;
  reply->errorMessage.clear();
  std::string token;
  if (!fetchToken(token)) {
    report(ErrorCode::tokenMissing, tokenMissingMessage);
    return resultOk;
  }
  const std::string path = textOf(info, ExternlMediaUploadCharKey::filePath);
  FileStream file;
  if (const FileFault fault = openVideoFile(path, file); fault.code != ErrorCode::none) {
    report(fault.code, fault.message);
    return resultOk;
  }
  const std::uint64_t fileSize = file.size();
  describeVideo(info, client, token, fileSize);
  const std::string sessionOpening = configuredUrl() + sessionQuery;
  exchange(*client, *reply, sessionOpening);
  const auto location = reply->headers.find("Location");
  if (reply->httpCode != httpOk || location == reply->headers.end()) {
    KBL_LOG(severityError, "resumable_uri is not exist");
    reportFailure(*reply, *errorInfo());
    return resultOk;
  }
  const std::string resumableUri = location->second;
  if (isHttps(sessionOpening) && !isHttps(resumableUri)) {
    report(ErrorCode::urlInvalid, "url invalid");
    return resultOk;
  }
  KBL_LOG(severityInfo, "upload, " << path << ", file size:" << fileSize << ", chunk size: " << chunkSize);
  sendChunks(file, fileSize, resumableUri, std::move(token), info, client, reply);
  return resultOk;
}

void BsExternlMediaAuthYoutubeUploadFileRequest::describeVideo(IBsInfoReader* info, INetworkClient* client,
                                                               const std::string& token,
                                                               std::uint64_t fileSize) {
  using Key = ExternlMediaUploadCharKey;
  client->setHeaders({{"Content-Type", "application/json"},
                      {"X-Upload-Content-Type", "application/octet-stream"},
                      {"X-Upload-Content-Length", std::to_string(fileSize)},
                      {"Authorization", bearer(token)}});
  client->setBody(metadata(textOf(info, Key::title), textOf(info, Key::desc), textOf(info, Key::tags),
                           textOf(info, Key::privacy)));
}

void BsExternlMediaAuthYoutubeUploadFileRequest::sendChunks(FileStream& file, std::uint64_t fileSize,
                                                            const std::string& resumableUri,
                                                            std::string token, IBsInfoReader* info,
                                                            INetworkClient* client, NetReply* reply) {
  std::srand(static_cast<unsigned>(std::time(nullptr)));  // for the pauses; process-wide, as hosts know it
  FilePieces pieces(file, *client);
  std::uint64_t offset = 0;
  while (!isUploadStopped(ownerTag(), info) && offset < fileSize) {
    report(ErrorCode::none, "");
    // Never past the size that was announced, should the file grow meanwhile.
    const std::uint64_t size = pieces.moveTo(offset, std::min(chunkSize, fileSize - offset));
    if (size == 0) return fail(info, ErrorCode::noUsableData, readFailed);
    // Taken anew for each chunk: a long upload outlives the token that it began with.
    if (!fetchToken(token)) return fail(info, ErrorCode::tokenMissing, tokenMissingMessage);
    if (!retryUpload(client, resumableUri, chunkHeaders(offset, size, fileSize, token),
                     ChunkBody(pieces, size), fileSize, offset, info, reply, triesPerChunk)) {
      return;
    }
    if (isUploadStopped(ownerTag(), info)) return;
    offset += size;
  }
}

bool BsExternlMediaAuthYoutubeUploadFileRequest::retryUpload(INetworkClient* client, const std::string& uri,
                                                             const Headers& headers, const ChunkBody& body,
                                                             std::uint64_t fileSize, std::uint64_t offset,
                                                             IBsInfoReader* info, NetReply* reply,
                                                             int maxTries) {
  const URL url = URL::FromString(uri);
  for (int tries = 0; tries < maxTries; ++tries) {
    if (tries > 0) {
      const auto range = headers.find("Content-Range");
      KBL_LOG(severityInfo, "upload, " << (range == headers.end() ? "" : range->second) << ", try: " << tries
                                       << "/" << maxTries);
    }
    client->setHeaders(headers);
    body.giveTo(*client);
    NetReply answer = client->perform(url, httpPut, nullptr, nullptr, nullptr, nullptr);
    if (body.isCut()) {
      // A transport that failed, now for want of bytes or in the try before, would hide why.
      reply->resultCode = 0;
      reply->errorMessage.clear();
      fail(info, ErrorCode::noUsableData, readFailed);
      return false;
    }
    *reply = std::move(answer);
    const bool accepted = reply->httpCode == httpOk || reply->httpCode == httpResumeIncomplete;
    if (accepted) deliverProgress(info, shownPercent(offset + body.size(), fileSize));
    if (reply->httpCode == httpOk && parseEnvelope(info, reply->content, errorInfo().get(), reply) == 1 &&
        !resultId().empty()) {
      succeed(info, watchPage + resultId());
    }
    // A 200 that names no video is no failure of the chunk: the loop of chunks simply ends with the file.
    if (accepted) return true;
    pauseBeforeNextTry(info);
  }

  if (reply->httpCode == httpOk && offset + body.size() == fileSize) {
    fail(info, ErrorCode::idNotFound, "Expected field 'id' not found in response");
  } else {
    failAfterTries(info, maxTries);
  }
  return false;
}

int BsExternlMediaAuthYoutubeUploadFileRequest::checkResponseValid(const std::string& content,
                                                                   Json::Value& root, std::string& message,
                                                                   int& code) {
  return checkReply(googleReply, content, root, message, code);
}

int BsExternlMediaAuthYoutubeUploadFileRequest::parseEnvelope(IBsInfoReader* info, const std::string& content,
                                                              IBsErrorInfo* error, NetReply* reply) {
  if (error->errorCode() != ErrorCode::none) {
    forgetReply();
    return 0;
  }
  return UploadFileRequest::parseEnvelope(info, content, error, reply);
}

std::optional<std::string> BsExternlMediaAuthYoutubeUploadFileRequest::resultIn(
    const Json::Value& root) const {
  if (!root.isObject() || !root.isMember("kind")) return std::nullopt;
  return jsonId(root, "id");
}

}  // namespace KBL
