#include "sandbox/services/google/YoutubeUpload.h"

#include "sandbox/base/JsonText.h"
#include "sandbox/base/Text.h"
#include "sandbox/services/google/GoogleError.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace sandbox {

namespace {

constexpr const char* uploadPath = "/upload/youtube/v3/videos";
/// How long a chunk waits for the one before it, whose client may have given up a moment ago.
constexpr std::chrono::seconds busyLimit{5};
constexpr std::size_t titleLimit = 100;
constexpr std::size_t descriptionLimit = 5000;
constexpr std::size_t tagListLimit = 500;

Reply badRequest(const std::string& message, const std::string& reason) {
  return googleError(400, message, reason);
}

/// "part" is a list that must name what the metadata carries; "recordingDetails" may be named without being
/// sent.
bool namesParts(const std::string& list) {
  const std::string wrapped = "," + list + ",";
  return wrapped.find(",snippet,") != std::string::npos && wrapped.find(",status,") != std::string::npos;
}

bool isVideoType(const std::string& type) {
  return type.starts_with("video/") || type == "application/octet-stream";
}

bool isOneOf(const std::string& text, std::initializer_list<std::string_view> list) {
  return std::find(list.begin(), list.end(), text) != list.end();
}

/// As one list, with a comma between two tags and quotes around one with a blank.
std::size_t lengthOf(const Json::Value& tags) {
  std::size_t length = 0;
  if (!tags.isArray()) return length;
  for (const Json::Value& tag : tags) {
    const std::string text = tag.isString() ? tag.asString() : std::string();
    const bool isQuoted = text.find(' ') != std::string::npos;
    length += characterCount(text) + (isQuoted ? 2 : 0) + (length > 0 ? 1 : 0);
  }
  return length;
}

bool takeNumber(std::string_view& text, char end, std::uint64_t& number) {
  const std::size_t length = end == '\0' ? text.size() : text.find(end);
  if (length == std::string_view::npos) return false;
  unsigned long long value = 0;
  if (!parseNumber(text.substr(0, length), value)) return false;
  number = value;
  text.remove_prefix(std::min(length + 1, text.size()));
  return true;
}

}  // namespace

void YoutubeUpload::addTo(Router& router) {
  for (const std::string& path : {std::string(uploadPath), std::string(scriptBase) + "/videos"}) {
    router.add({Route::youtubeUploadOpen, "POST", path, [this](Call& call) { return open(call); }});
    router.add({Route::youtubeUploadChunk, "PUT", path, [this](Call& call) { return put(call); },
                Endpoint::Body::streamed});
  }
}

std::vector<std::pair<std::string, std::string>> YoutubeUpload::urlKeys() const {
  return {{"urlExternlMediaAuthYoutubeUpload", uploadPath}};
}

Reply YoutubeUpload::open(const Call& call) {
  const RecordedRequest& request = call.request;
  const std::optional<User> user = context_.userOf(request.bearer(), Platform::youtube);
  if (!user) return googleUnauthorized();
  if (request.parameter("uploadType") != "resumable")
    return badRequest("Invalid upload type", "invalidUploadType");
  const bool mayLeaveOutAlt = request.path != uploadPath;
  const std::string alt = request.parameter("alt").value_or(mayLeaveOutAlt ? "json" : "");
  if (alt != "json") return badRequest("Invalid value for alt", "invalidParameter");
  if (!namesParts(request.parameter("part").value_or("")))
    return badRequest("No part selected", "unexpectedPart");
  if (!request.header("Content-Type").value_or("").starts_with("application/json")) {
    return badRequest("Media type of the metadata is not supported", "badContent");
  }
  unsigned long long size = 0;
  if (!parseNumber(request.header("X-Upload-Content-Length").value_or(""), size) || size == 0) {
    return badRequest("Invalid X-Upload-Content-Length", "invalidHeader");
  }
  const std::string type = request.header("X-Upload-Content-Type").value_or("");
  if (!isVideoType(type)) return badRequest("Media type is not supported", "mediaBodyRequired");
  const std::optional<Json::Value> metadata = parseJson(call.body);
  if (!metadata || !metadata->isObject()) return badRequest("Parse Error", "parseError");
  if (const auto refused = refusedMetadata(*metadata)) return *refused;

  UploadRecord upload;
  upload.service = "youtube";
  upload.openId = user->openId;
  upload.mediaType = type;
  upload.metadata = call.body;
  upload.headers = request.headers;
  upload.announcedSize = size;
  const std::string uploadId = context_.uploads.open(std::move(upload));
  Reply reply;
  reply.headers = {{context_.options.locationHeader,
                    context_.baseUrl + request.path + "?uploadType=resumable&upload_id=" + uploadId},
                   {"X-GUploader-UploadID", uploadId}};
  return reply;
}

Reply YoutubeUpload::put(const Call& call) {
  const std::optional<User> user = context_.userOf(call.request.bearer(), Platform::youtube);
  if (!user) return googleUnauthorized();
  const std::string uploadId = call.request.parameter("upload_id").value_or("");
  if (!context_.uploads.knows(uploadId)) return googleError(404, "Upload session not found", "notFound");
  const std::optional<Range> range = parseRange(call.request.header("Content-Range").value_or(""));
  if (!range) return badRequest("Invalid Content-Range", "invalidHeader");
  std::optional<UploadBook::Loan> upload = context_.uploads.borrow(uploadId, busyLimit);
  if (!upload) return googleError(503, "The upload is in use by another request", "backendError");
  if (upload->record().openId != user->openId) return googleError(403, "Forbidden", "forbidden");
  if (range->total != upload->record().announcedSize) {
    return badRequest("Content-Range does not agree with X-Upload-Content-Length", "invalidHeader");
  }
  if (range->question) return state(upload->record());
  return chunk(call, *range, *upload);
}

Reply YoutubeUpload::chunk(const Call& call, const Range& range, UploadBook::Loan& upload) {
  const std::uint64_t size = range.last - range.first + 1;
  const std::uint64_t received = upload.record().receivedSize;
  const bool last = range.last + 1 == range.total;
  if (range.first > received) return badRequest("Content-Range leaves a gap", "invalidHeader");
  if (!last && size % chunkUnit != 0)
    return badRequest("Chunk is no multiple of 262144 bytes", "invalidChunk");
  if (call.announcedLength != 0 && call.announcedLength != size) {
    return badRequest("Content-Length does not agree with Content-Range", "invalidHeader");
  }

  const Arrival arrival = context_.arrivalOf(upload.record());
  Sha256 hash = upload.hash();
  const std::uint64_t known = received - range.first;  // bytes that were accepted before
  const std::uint64_t counting = countingOf(call, range.first, size);
  std::uint64_t arrived = 0;
  const bool whole = call.readBody([&](const char* bytes, std::size_t count) {
    const std::uint64_t begin = std::clamp(known, arrived, arrived + count) - arrived;
    const std::uint64_t end = std::clamp(counting, arrived, arrived + count) - arrived;
    arrival.take(range.first + arrived, bytes, count);
    arrived += count;
    if (context_.options.hashUploads && begin < end) {
      hash.add(bytes + static_cast<std::size_t>(begin), static_cast<std::size_t>(end - begin));
    }
    return arrived <= size;
  });
  if (!whole || arrived != size) return badRequest("Body does not agree with Content-Range", "invalidHeader");
  if (counting < size) call.countedLess();
  if (range.first + counting <= received) return state(upload.record());
  if (counting < size) {
    upload.commit({range.first, counting, call.request.bearer()}, hash, false, {});
    return state(upload.record());
  }
  const std::string sha256 = last && context_.options.hashUploads ? hash.hex() : std::string();
  upload.commit({range.first, size, call.request.bearer()}, hash, last, sha256);
  if (last) context_.state.save();
  return state(upload.record());
}

/// How many of the chunk's bytes count: all of them, unless a fault says less.
std::uint64_t YoutubeUpload::countingOf(const Call& call, std::uint64_t first, std::uint64_t size) {
  if (!call.acceptAtMost || *call.acceptAtMost >= size) return size;
  const std::uint64_t end = (first + *call.acceptAtMost) / chunkUnit * chunkUnit;
  return std::max(end, first) - first;
}

std::optional<YoutubeUpload::Range> YoutubeUpload::parseRange(const std::string& text) {
  constexpr std::string_view unit = "bytes ";
  if (!text.starts_with(unit)) return std::nullopt;
  std::string_view rest = std::string_view(text).substr(unit.size());
  Range range;
  range.question = rest.starts_with("*/");
  if (range.question) {
    rest.remove_prefix(2);
  } else if (!takeNumber(rest, '-', range.first) || !takeNumber(rest, '/', range.last)) {
    return std::nullopt;
  }
  if (!takeNumber(rest, '\0', range.total)) return std::nullopt;
  const bool sound = range.question || (range.first <= range.last && range.last < range.total);
  return sound ? std::optional(range) : std::nullopt;
}

/// What YouTube refuses in a video's metadata. "tags" may be a text where a list is meant: Google reads one
/// value as a list of one.
std::optional<Reply> YoutubeUpload::refusedMetadata(const Json::Value& metadata) const {
  if (!context_.options.strictMetadata) return std::nullopt;
  const std::optional<std::string> title = textMember(metadata["snippet"], "title");
  if (!title || title->empty() || characterCount(*title) > titleLimit ||
      title->find_first_of("<>") != std::string::npos) {
    return badRequest("The request metadata specifies an invalid or empty video title.", "invalidTitle");
  }
  const std::string description = textMember(metadata["snippet"], "description").value_or("");
  if (description.size() > descriptionLimit || description.find_first_of("<>") != std::string::npos) {
    return badRequest("The request metadata specifies an invalid video description.", "invalidDescription");
  }
  if (lengthOf(metadata["snippet"]["tags"]) > tagListLimit) {
    return badRequest("The request metadata specifies invalid video keywords.", "invalidTags");
  }
  const Json::Value& status = metadata["status"];
  if (!isOneOf(textMember(status, "privacyStatus").value_or("private"), {"private", "public", "unlisted"})) {
    return badRequest("Invalid value at 'video.status.privacy_status'", "invalidVideoMetadata");
  }
  if (!isOneOf(textMember(status, "license").value_or("youtube"), {"youtube", "creativeCommon"})) {
    return badRequest("Invalid value at 'video.status.license'", "invalidVideoMetadata");
  }
  return std::nullopt;
}

/// 308 with what has arrived so far, or the finished video.
Reply YoutubeUpload::state(const UploadRecord& upload) const {
  Reply reply;
  if (!upload.complete) {
    reply.status = 308;
    if (upload.receivedSize > 0) {
      reply.headers.emplace_back("Range", "bytes=0-" + std::to_string(upload.receivedSize - 1));
    }
    return reply;
  }
  const Json::Value metadata = parseJson(upload.metadata).value_or(Json::Value(Json::objectValue));
  Json::Value video;
  video["kind"] = "youtube#video";
  video["id"] = upload.mediaId;
  video["snippet"]["title"] = metadata["snippet"]["title"];
  video["snippet"]["channelId"] = "UC" + upload.openId;
  video["status"]["uploadStatus"] = "uploaded";
  video["status"]["privacyStatus"] = metadata["status"]["privacyStatus"];
  reply.body = compactJson(video);
  return reply;
}

}  // namespace sandbox
