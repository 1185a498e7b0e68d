#include "sandbox/services/openplatform/TiktokUpload.h"

#include "sandbox/base/JsonText.h"
#include "sandbox/services/MultipartForm.h"
#include "sandbox/services/openplatform/OpenPlatform.h"

namespace sandbox {

namespace {

constexpr const char* uploadPath = "/tiktok/share/video/upload/";
constexpr const char* videoField = "video";

Reply answer(Json::Value data, int code, const std::string& message) {
  data["error_code"] = code;
  data["error_msg"] = message;
  Json::Value root;
  root["data"] = std::move(data);
  root["extra"]["error_detail"] = message;
  Reply reply;
  reply.body = compactJson(root);
  return reply;
}

Reply failure(int code, const std::string& message) {
  return answer(Json::Value(Json::objectValue), code, message);
}

}  // namespace

void TiktokUpload::addTo(Router& router) {
  router.add({Route::tiktokUpload, "POST", uploadPath, [this](Call& call) { return upload(call); },
              Endpoint::Body::streamed});
}

std::vector<std::pair<std::string, std::string>> TiktokUpload::urlKeys() const {
  return {{"urlExternlMediaAuthTiktokUpload", uploadPath}};
}

Reply TiktokUpload::upload(const Call& call) {
  if (!open_platform::hasAll(call.request, {"access_token", "open_id"})) {
    return failure(open_platform::invalidParameter, "access_token and open_id are wanted");
  }
  const std::string token = call.request.parameter("access_token").value_or("");
  const std::optional<User> user = context_.userOf(token, Platform::tiktok);
  if (!user) {
    const bool known = context_.accounts.token(token).has_value();
    return known ? failure(open_platform::expiredToken, "Access token expired")
                 : failure(open_platform::invalidToken, "Access token invalid");
  }
  if (user->openId != call.request.parameter("open_id").value_or("")) {
    return failure(open_platform::otherUser, "open_id does not belong to access_token");
  }

  UploadRecord record;
  record.service = "tiktok";
  record.openId = user->openId;
  record.headers = call.request.headers;
  if (const auto refused = readForm(call, record)) return *refused;
  record.chunks.push_back({0, record.receivedSize, token});
  Json::Value data;
  data["share_id"] = context_.uploads.addComplete(std::move(record));
  context_.state.save();
  return answer(std::move(data), 0, "");
}

std::optional<Reply> TiktokUpload::readForm(const Call& call, UploadRecord& record) const {
  const std::optional<std::string> boundary =
      MultipartForm::boundaryOf(call.request.header("Content-Type").value_or(""));
  if (!boundary) return failure(open_platform::invalidParameter, "multipart/form-data is wanted");

  const Arrival arrival = context_.newArrival(record.service, call.announcedLength);
  record.uploadId = arrival.uploadId();
  unsigned fields = 0;
  Sha256 hash;
  const auto isTheVideo = [&](const MultipartForm::Field& field) {
    record.fileName = field.fileName.value_or("");
    record.mediaType = field.contentType;
    return ++fields == 1 && field.name == videoField && !record.fileName.empty();
  };
  const auto takeBytes = [&](const char* bytes, std::size_t count) {
    arrival.take(record.receivedSize, bytes, count);
    record.receivedSize += count;
    if (context_.options.hashUploads) hash.add(bytes, count);
    return record.receivedSize <= largestVideo;
  };
  MultipartForm form(*boundary, isTheVideo, takeBytes);
  const bool read =
      call.readBody([&](const char* bytes, std::size_t count) { return form.take(bytes, count); });
  if (record.receivedSize > largestVideo) {
    return failure(open_platform::badSize, "The video is larger than 50MB");
  }
  if (!read || !form.ended() || fields == 0) {
    return failure(open_platform::invalidParameter, "one file field \"video\" is wanted");
  }
  if (record.receivedSize == 0) return failure(open_platform::badSize, "The video is empty");
  if (context_.options.hashUploads) record.sha256 = hash.hex();
  return std::nullopt;
}

}  // namespace sandbox
