#include "sandbox/services/instagram/InstagramReels.h"

#include "sandbox/base/JsonText.h"
#include "sandbox/base/MediaAccounts.h"
#include "sandbox/base/Text.h"
#include "sandbox/services/GraphFields.h"
#include "sandbox/services/GraphPaths.h"
#include "sandbox/services/facebook/FacebookError.h"
#include "sandbox/services/instagram/InstagramAccount.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace sandbox {

namespace {

constexpr std::size_t captionLimit = 2200;
constexpr std::ptrdiff_t hashtagLimit = 30;
constexpr std::ptrdiff_t mentionLimit = 20;
constexpr std::chrono::seconds busyLimit{5};

/// How the upload host refuses.
Reply uploadRefusal(int status, bool retriable, const std::string& type, const std::string& message) {
  Json::Value value;
  value["debug_info"]["retriable"] = retriable;
  value["debug_info"]["type"] = type;
  value["debug_info"]["message"] = message;
  Reply reply;
  reply.status = status;
  reply.body = compactJson(value);
  return reply;
}

Reply badUpload(const std::string& message) {
  return uploadRefusal(400, false, "BadRequestError", message);
}

std::optional<std::uint64_t> numberHeader(const Call& call, const char* name) {
  unsigned long long number = 0;
  const bool sound = parseNumber(call.request.header(name).value_or(""), number);
  return sound ? std::optional<std::uint64_t>(number) : std::nullopt;
}

/// Refuses a field that none of the objects of its kind has.
std::optional<Reply> refusedFields(const std::string& fields, std::initializer_list<std::string_view> known) {
  const std::string strange = strangeGraphField(fields, known);
  return strange.empty() ? std::nullopt : std::optional(facebookNoSuchField(strange));
}

std::optional<Reply> refusedMediaFields(const std::string& fields) {
  return refusedFields(fields, {"id", "caption", "media_product_type", "permalink", "timestamp"});
}

bool asksFor(const std::string& fields, const std::string& field) {
  return ("," + fields + ",").find("," + field + ",") != std::string::npos;
}

/// As the Graph API writes times.
std::string timeText(std::chrono::system_clock::time_point moment) {
  const auto day = std::chrono::floor<std::chrono::days>(moment);
  const std::chrono::year_month_day date(day);
  const std::chrono::hh_mm_ss time(std::chrono::floor<std::chrono::seconds>(moment - day));
  std::array<char, 64> text{};
  std::snprintf(text.data(), text.size(), "%04d-%02u-%02uT%02d:%02d:%02d+0000", static_cast<int>(date.year()),
                static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                static_cast<int>(time.hours().count()), static_cast<int>(time.minutes().count()),
                static_cast<int>(time.seconds().count()));
  return text.data();
}

}  // namespace

InstagramReels::InstagramReels(ServiceContext& context) : OauthService(context, InstagramAccount::traits) {}

void InstagramReels::addTo(Router& router) {
  const std::string objects = std::string(GraphPaths::instagram) + "/";
  const auto post = [&](Route route, const char* ending, Handler handler) {
    router.add({route, "POST", objects, std::move(handler), Endpoint::Body::whole, Endpoint::Path::withRest,
                ending});
  };
  post(Route::instagramContainer, "/media", [this](Call& call) { return open(call); });
  post(Route::instagramPublish, "/media_publish", [this](Call& call) { return publish(call); });
  router.add({Route::instagramStatus, "GET", objects, [this](Call& call) { return look(call); },
              Endpoint::Body::whole, Endpoint::Path::withRest});
  router.add({Route::instagramUpload, "POST", std::string(GraphPaths::instagramUploads) + "/",
              [this](Call& call) { return receive(call); }, Endpoint::Body::streamed,
              Endpoint::Path::withRest});
}

std::vector<std::pair<std::string, std::string>> InstagramReels::scriptKeys() const {
  return {{"instagramUpload", GraphPaths::instagramUploads}};
}

std::optional<Reply> InstagramReels::refusedCaller(const Call& call, const FormFields& fields) const {
  const std::optional<User> user = userOf(fieldText(fields, "access_token"));
  if (!user) return facebookUnauthorized();
  if (user->openId == call.rest) return std::nullopt;
  return facebookError(100,
                       "Unsupported post request. Object with ID '" + call.rest +
                           "' does not exist or cannot be loaded due to missing permissions.",
                       33);
}

Reply InstagramReels::open(const Call& call) {
  const FormFields fields = allFields(call);
  if (auto refused = refusedCaller(call, fields)) return *refused;
  if (fieldText(fields, "media_type") != "REELS") {
    return facebookBadParameter("Only REELS are taken as media_type");
  }
  if (fieldText(fields, "upload_type") != "resumable") {
    return facebookBadParameter("The parameter video_url is required");
  }
  const std::string caption = fieldText(fields, "caption");
  if (characterCount(caption) > captionLimit)
    return facebookError(36004, "The caption was too long.", 2207010);
  if (std::count(caption.begin(), caption.end(), '#') > hashtagLimit)
    return facebookError(36004, "The caption has too many hashtags.", 2207010);
  if (std::count(caption.begin(), caption.end(), '@') > mentionLimit)
    return facebookError(100, "The caption names too many people.", 2207040);
  UploadRecord upload;
  upload.service = "instagram";
  upload.uploadId = randomDigits(17);
  upload.mediaId = randomDigits(17);
  upload.openId = call.rest;
  upload.headers = call.request.headers;
  Json::Value metadata;
  metadata["media_type"] = "REELS";
  metadata["caption"] = caption;
  upload.metadata = compactJson(metadata);
  Json::Value value;
  value["id"] = upload.uploadId;
  value["uri"] = context_.baseUrl + GraphPaths::instagramUploads + "/" + upload.uploadId;
  context_.uploads.open(std::move(upload));
  return json(value);
}

Reply InstagramReels::receive(const Call& call) {
  const std::optional<User> user = userOf(authorization(call, "OAuth"));
  if (!user) return uploadRefusal(401, false, "NotAuthorizedError", "unauthorized user request");
  const std::optional<std::uint64_t> offset = numberHeader(call, "offset");
  const std::optional<std::uint64_t> size = numberHeader(call, "file_size");
  if (!offset || !size || *size == 0) return badUpload("offset and file_size must be numbers");
  std::optional<UploadBook::Loan> upload = context_.uploads.borrow(call.rest, busyLimit);
  const bool theirs =
      upload && upload->record().service == "instagram" && upload->record().openId == user->openId;
  if (!theirs) return uploadRefusal(404, false, "NotFoundError", "no such container");
  return append(call, *offset, *size, *upload);
}

Reply InstagramReels::append(const Call& call, std::uint64_t offset, std::uint64_t size,
                             UploadBook::Loan& upload) {
  const std::uint64_t received = upload.record().receivedSize;
  const std::uint64_t known = upload.record().announcedSize;
  if (known != 0 && known != size) return badUpload("file_size differs from that of the first request");
  if (offset != received || offset >= size) {
    return uploadRefusal(400, false, "OffsetInvalidError", "the offset is " + std::to_string(received));
  }
  if (call.announcedLength > size - offset) return badUpload("more bytes than file_size");
  upload.announce(size);
  const Arrival arrival = context_.arrivalOf(upload.record());
  Sha256 hash = upload.hash();
  std::uint64_t arrived = 0;
  call.readBody([&](const char* bytes, std::size_t count) {
    const auto taken = static_cast<std::size_t>(std::min<std::uint64_t>(count, size - offset - arrived));
    if (context_.options.hashUploads) hash.add(bytes, taken);
    arrival.take(offset + arrived, bytes, taken);
    arrived += taken;
    return taken == count;
  });
  if (arrived > 0) upload.commit({offset, arrived, authorization(call, "OAuth")}, hash, false, {});
  if (offset + arrived < size) {
    return uploadRefusal(400, true, "PartialRequestError", "the request ended before the file did");
  }
  Json::Value value;
  value["success"] = true;
  value["message"] = "Upload successful.";
  return json(value);
}

Json::Value InstagramReels::mediaOf(const UploadRecord& upload, const std::string& fields) {
  Json::Value value;
  value["id"] = upload.mediaId;
  const Json::Value metadata = parseJson(upload.metadata).value_or(Json::Value());
  if (asksFor(fields, "caption")) value["caption"] = textMember(metadata, "caption").value_or("");
  if (asksFor(fields, "media_product_type")) value["media_product_type"] = "REELS";
  if (asksFor(fields, "timestamp")) {
    const std::lock_guard lock(mutex_);
    value["timestamp"] = timeText(published_[upload.mediaId]);
  }
  if (asksFor(fields, "permalink")) {
    value["permalink"] = "https://www.instagram.com/reel/" + upload.mediaId + "/";
  }
  return value;
}

/// The newest first.
Reply InstagramReels::published(const User& user, const std::string& fields) {
  Json::Value value;
  Json::Value& list = value["data"] = Json::Value(Json::arrayValue);
  std::vector<UploadRecord> uploads = context_.uploads.all();
  std::reverse(uploads.begin(), uploads.end());
  for (const UploadRecord& upload : uploads) {
    if (upload.service != "instagram" || upload.openId != user.openId || !upload.complete) continue;
    list.append(mediaOf(upload, fields));
  }
  return json(value);
}

/// A container, what was published, or the list of it.
Reply InstagramReels::look(const Call& call) {
  const std::optional<User> user = userOf(call.request.parameter("access_token").value_or(""));
  if (!user) return facebookUnauthorized();
  const std::string fields = call.request.parameter("fields").value_or("id");
  if (call.rest == user->openId + "/media") {
    const auto refused = refusedMediaFields(fields);
    return refused ? *refused : published(*user, fields);
  }
  if (call.rest == user->openId) {
    if (const auto refused = refusedFields(fields, {"id", "username"})) return *refused;
    Json::Value value;
    value["id"] = user->openId;
    if (asksFor(fields, "username")) value["username"] = accountName(*user);
    return json(value);
  }
  // Borrowed, so that bytes which are being taken in are counted.
  if (const auto container = context_.uploads.borrow(call.rest, busyLimit)) {
    const UploadRecord& upload = container->record();
    const bool theirs = upload.service == "instagram" && upload.openId == user->openId;
    const auto refused = refusedFields(fields, {"id", "status", "status_code", "video_status"});
    if (theirs) return refused ? *refused : json(statusOf(upload, fields));
  }
  const std::optional<UploadRecord> media = context_.uploads.byMediaId("instagram", call.rest);
  if (media && media->complete && media->openId == user->openId) {
    const auto refused = refusedMediaFields(fields);
    return refused ? *refused : json(mediaOf(*media, fields));
  }
  return facebookError(100, "Unsupported get request. Object with ID '" + call.rest + "' does not exist.",
                       33);
}

/// An uploaded video is ready after some questions.
bool InstagramReels::isReady(const std::string& id, const UploadRecord& upload) {
  if (upload.announcedSize == 0 || upload.receivedSize != upload.announcedSize) return false;
  const std::lock_guard lock(mutex_);
  return questions_[id] >= context_.options.containerQuestions;
}

Json::Value InstagramReels::statusOf(const UploadRecord& upload, const std::string& fields) {
  const bool whole = upload.announcedSize != 0 && upload.receivedSize == upload.announcedSize;
  const bool ready = isReady(upload.uploadId, upload);
  const char* const code = upload.complete ? "PUBLISHED" : ready ? "FINISHED" : "IN_PROGRESS";
  if (whole && asksFor(fields, "status_code")) {
    const std::lock_guard lock(mutex_);
    ++questions_[upload.uploadId];
  }
  Json::Value value;
  value["id"] = upload.uploadId;
  if (asksFor(fields, "status_code")) value["status_code"] = code;
  if (asksFor(fields, "status")) {
    value["status"] = std::string(ready ? "Finished" : "In progress") + ": " + code;
  }
  if (asksFor(fields, "video_status")) {
    Json::Value& phases = value["video_status"];
    phases["uploading_phase"]["status"] = whole ? "complete" : "in_progress";
    phases["uploading_phase"]["bytes_transferred"] = Json::UInt64(upload.receivedSize);
    phases["processing_phase"]["status"] = ready ? "complete" : "not_started";
  }
  return value;
}

Reply InstagramReels::publish(const Call& call) {
  const FormFields fields = allFields(call);
  if (auto refused = refusedCaller(call, fields)) return *refused;
  const std::string id = fieldText(fields, "creation_id");
  std::optional<UploadBook::Loan> upload = context_.uploads.borrow(id, busyLimit);
  const bool theirs =
      upload && upload->record().service == "instagram" && upload->record().openId == call.rest;
  if (!theirs) return facebookError(24, "The requested resource does not exist", 2207006);
  if (!isReady(id, upload->record()) || upload->record().complete) {
    return facebookError(notReady, "Media ID is not available", 2207027);
  }
  upload->finish(context_.options.hashUploads ? upload->hash().hex() : std::string());
  {
    const std::lock_guard lock(mutex_);
    published_[upload->record().mediaId] = std::chrono::system_clock::now();
  }
  context_.state.save();
  Json::Value value;
  value["id"] = upload->record().mediaId;
  return json(value);
}

}  // namespace sandbox
