#include "sandbox/services/openplatform/DouyinUpload.h"

#include "sandbox/base/JsonText.h"
#include "sandbox/base/Text.h"
#include "sandbox/services/openplatform/OpenPlatform.h"

namespace sandbox {

namespace {

constexpr const char* uploadPath = "/douyin/video/upload/";
constexpr const char* initPath = "/douyin/video/part/init/";
constexpr const char* partPath = "/douyin/video/part/upload/";
constexpr const char* completePath = "/douyin/video/part/complete/";
/// How long a part waits for the one before it, whose client may have given up a moment ago.
constexpr std::chrono::seconds busyLimit{5};

Reply answer(Json::Value data, int code, const std::string& description) {
  data["error_code"] = code;
  data["description"] = description;
  Json::Value root;
  root["data"] = std::move(data);
  root["extra"]["error_code"] = code;
  Reply reply;
  reply.body = compactJson(root);
  return reply;
}

Reply success(Json::Value data = Json::Value(Json::objectValue)) {
  return answer(std::move(data), 0, "");
}

Reply failure(int code, const std::string& description) {
  return answer(Json::Value(Json::objectValue), code, description);
}

/// These requests are authorized by the account server's side; a token in one of them has leaked.
bool carriesToken(const RecordedRequest& request) {
  for (const char* header : {"Authorization", "access-token", "access_token", "Cookie"}) {
    if (request.header(header)) return true;
  }
  return request.parameter("access_token").has_value();
}

}  // namespace

void DouyinUpload::addTo(Router& router) {
  router.add({Route::douyinUploadInit, "POST", initPath, [this](Call& call) { return init(call); }});
  router.add({Route::douyinUploadPart, "POST", partPath, [this](Call& call) { return part(call); },
              Endpoint::Body::streamed});
  router.add({Route::douyinUploadComplete, "POST", completePath,
              [this](Call& call) { return complete(call); }, Endpoint::Body::streamed});
}

/// The first key names the upload as a whole and is never asked: the three steps have keys of their own.
std::vector<std::pair<std::string, std::string>> DouyinUpload::urlKeys() const {
  return {{"urlExternlMediaAuthDouyinUpload", uploadPath},
          {"urlExternlMediaAuthDouyinVideoPartInit", initPath},
          {"urlExternlMediaAuthDouyinVideoPartUpload", partPath},
          {"urlExternlMediaAuthDouyinVideoPartComplete", completePath}};
}

Reply DouyinUpload::init(const Call& call) {
  if (carriesToken(call.request)) return failure(open_platform::invalidParameter, "no token is wanted here");
  if (!open_platform::hasExactly(call.request, {"open_id"})) {
    return failure(open_platform::invalidParameter, "open_id alone is wanted");
  }
  if (!call.body.empty()) return failure(open_platform::invalidParameter, "no body is wanted");
  const std::string openId = call.request.parameter("open_id").value_or("");
  if (!context_.knowsUser(openId)) return failure(open_platform::otherUser, "open_id invalid");

  UploadRecord record;
  record.service = "douyin";
  record.openId = openId;
  record.headers = call.request.headers;
  Json::Value data;
  data["upload_id"] = context_.uploads.open(std::move(record));
  return success(std::move(data));
}

DouyinUpload::Found DouyinUpload::find(const Call& call) {
  const std::string uploadId = call.request.parameter("upload_id").value_or("");
  if (!context_.uploads.knows(uploadId))
    return {{}, failure(open_platform::unknownUpload, "upload_id invalid")};
  std::optional<UploadBook::Loan> upload = context_.uploads.borrow(uploadId, busyLimit);
  if (!upload) return {{}, failure(open_platform::unknownUpload, "upload_id is in use by another request")};
  if (upload->record().service != "douyin" ||
      upload->record().openId != call.request.parameter("open_id").value_or("")) {
    return {{}, failure(open_platform::otherUser, "upload_id does not belong to open_id")};
  }
  if (upload->record().complete) return {{}, failure(open_platform::uploadOver, "the upload is complete")};
  return {std::move(upload), {}};
}

Reply DouyinUpload::part(const Call& call) {
  if (carriesToken(call.request)) return failure(open_platform::invalidParameter, "no token is wanted here");
  unsigned long long number = 0;
  if (!open_platform::hasExactly(call.request, {"open_id", "upload_id", "part_number"}) ||
      !parseNumber(call.request.parameter("part_number").value_or(""), number)) {
    return failure(open_platform::invalidParameter, "open_id, upload_id and part_number are wanted");
  }
  Found found = find(call);
  return found.upload ? takePart(call, number, *found.upload) : found.refusal;
}

/// The part that came last may come once more, as after a lost answer, and then replaces itself.
Reply DouyinUpload::takePart(const Call& call, std::uint64_t number, UploadBook::Loan& upload) const {
  const std::vector<UploadedChunk>& parts = upload.record().chunks;
  const bool again = number > 0 && number == parts.size();
  if (!again && number != parts.size() + 1) {
    return failure(open_platform::wrongPart, "part_number does not follow the part before it");
  }
  if (number > 1 && parts[number - 2].size != partSize) {
    return failure(open_platform::badSize, "every part but the last has 4194304 bytes");
  }
  const std::uint64_t offset = (number - 1) * partSize;
  const Arrival arrival = context_.arrivalOf(upload.record());
  Sha256 hash = again ? upload.hashBeforeLast() : upload.hash();
  std::uint64_t size = 0;
  const bool whole = call.readBody([&](const char* bytes, std::size_t count) {
    arrival.take(offset + size, bytes, count);
    size += count;
    if (context_.options.hashUploads) hash.add(bytes, count);
    return size <= partSize;
  });
  if (!whole || size == 0) return failure(open_platform::badSize, "a part has 1 to 4194304 bytes");
  if (offset + size > largestVideo) return failure(open_platform::badSize, "the video exceeds 128MB");
  const UploadedChunk chunk{offset, size, {}};
  again ? upload.replaceLast(chunk, hash) : upload.commit(chunk, hash, false, {});
  return success();
}

/// The body means nothing to this step: clients send what they still hold.
Reply DouyinUpload::complete(const Call& call) {
  if (carriesToken(call.request)) return failure(open_platform::invalidParameter, "no token is wanted here");
  if (!open_platform::hasExactly(call.request, {"open_id", "upload_id"})) {
    return failure(open_platform::invalidParameter, "open_id and upload_id are wanted");
  }
  Found found = find(call);
  if (!found.upload) return found.refusal;
  if (!call.readBody([](const char*, std::size_t) { return true; })) return {};
  UploadBook::Loan& upload = *found.upload;
  if (upload.record().chunks.empty()) return failure(open_platform::wrongPart, "no part has arrived");
  upload.finish(context_.options.hashUploads ? upload.hash().hex() : std::string());
  context_.state.save();
  Json::Value data;
  data["video_id"] = upload.record().mediaId;
  data["share_id"] = "share-" + upload.record().mediaId;
  return success(std::move(data));
}

}  // namespace sandbox
