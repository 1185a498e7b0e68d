#include "sandbox/services/facebook/FacebookVideos.h"

#include "sandbox/base/JsonText.h"
#include "sandbox/base/Text.h"
#include "sandbox/services/GraphFields.h"
#include "sandbox/services/GraphPaths.h"
#include "sandbox/services/facebook/FacebookAccount.h"
#include "sandbox/services/facebook/FacebookError.h"

#include <algorithm>
#include <array>

namespace sandbox {

namespace {

constexpr std::size_t keptBytes = std::size_t{16} * 1024 * 1024;
constexpr std::size_t titleLimit = 255;
constexpr std::chrono::seconds busyLimit{5};
constexpr std::array<std::string_view, 5> privacies{"EVERYONE", "ALL_FRIENDS", "FRIENDS_OF_FRIENDS", "CUSTOM",
                                                    "SELF"};
constexpr std::array<std::string_view, 18> allCategories{
    "BEAUTY_FASHION", "BUSINESS",    "CARS_TRUCKS", "COMEDY",     "CUTE_ANIMALS", "ENTERTAINMENT",
    "FAMILY",         "FOOD_HEALTH", "HOME",        "LIFESTYLE",  "MUSIC",        "NEWS",
    "POLITICS",       "SCIENCE",     "SPORTS",      "TECHNOLOGY", "VIDEO_GAMING", "OTHER"};

Reply uploadProblem(int subcode, const Json::Value& data = Json::Value()) {
  return facebookError(FacebookVideos::codeUploadProblem,
                       "There was a problem uploading your video. Please try again.", subcode, data);
}

Reply noSuchObject(const std::string& id) {
  return facebookError(100, "Unsupported request. Object with ID '" + id + "' does not exist.", 33);
}

}  // namespace

FacebookVideos::FacebookVideos(ServiceContext& context) : OauthService(context, FacebookAccount::traits) {}

void FacebookVideos::addTo(Router& router) {
  router.add({Route::facebookVideos, "POST", std::string(GraphPaths::facebookVideos) + "/me/videos",
              [this](Call& call) { return upload(call); }});
  const std::string objects = std::string(GraphPaths::facebook) + "/";
  router.add({Route::facebookVideo, "GET", objects, [this](Call& call) { return look(call); },
              Endpoint::Body::whole, Endpoint::Path::withRest});
  router.add({Route::facebookVideo, "DELETE", objects, [this](Call& call) { return remove(call); },
              Endpoint::Body::whole, Endpoint::Path::withRest});
}

std::vector<std::pair<std::string, std::string>> FacebookVideos::scriptKeys() const {
  return {{"facebookGraphVideo", GraphPaths::facebookVideos}};
}

Reply FacebookVideos::upload(const Call& call) {
  Step step{call, allFields(call), nullptr, {}};
  std::optional<UploadForm> form;
  if (const auto boundary = MultipartForm::boundaryOf(call.request.header("Content-Type").value_or(""))) {
    form.emplace(*boundary, keptBytes);
    const bool sound = form->take(call.body.data(), call.body.size()) && form->finish();
    if (!sound) return facebookBadParameter("The multipart body is malformed");
    step.fields.insert(step.fields.end(), form->fields().begin(), form->fields().end());
    step.form = &*form;
  }
  const std::optional<User> user = userOf(facebookToken(call, step.fields));
  if (!user) return facebookUnauthorized();
  step.openId = user->openId;
  const std::string phase = fieldText(step.fields, "upload_phase");
  if (phase == "start") return start(step);
  if (phase != "transfer" && phase != "finish") {
    return facebookBadParameter("Param upload_phase must be one of {start, transfer, finish}");
  }
  const std::string session = fieldText(step.fields, "upload_session_id");
  std::optional<UploadBook::Loan> loan = context_.uploads.borrow(session, busyLimit);
  const bool theirs = loan && loan->record().service == "facebook" && loan->record().openId == step.openId;
  if (!theirs) return facebookBadParameter("Param upload_session_id must be a valid upload session");
  return phase == "transfer" ? transfer(step, *loan) : finish(step, *loan);
}

Reply FacebookVideos::start(const Step& step) {
  unsigned long long size = 0;
  if (!parseNumber(fieldText(step.fields, "file_size"), size) || size == 0) {
    return facebookBadParameter("Param file_size must be an integer greater than 0");
  }
  UploadRecord upload;
  upload.service = "facebook";
  upload.uploadId = randomDigits(16);
  upload.mediaId = randomDigits(15);
  upload.openId = step.openId;
  upload.headers = step.call.request.headers;
  upload.announcedSize = size;
  Json::Value value = offsetsOf(upload);
  value["upload_session_id"] = upload.uploadId;
  value["video_id"] = upload.mediaId;
  context_.uploads.open(std::move(upload));
  return json(value);
}

Reply FacebookVideos::transfer(const Step& step, UploadBook::Loan& upload) const {
  unsigned long long offset = 0;
  if (!parseNumber(fieldText(step.fields, "start_offset"), offset)) {
    return facebookBadParameter("Param start_offset must be an integer");
  }
  const UploadForm::File* const chunk = step.form ? step.form->file("video_file_chunk") : nullptr;
  if (!chunk) return facebookBadParameter("Param video_file_chunk must be a file");
  const UploadRecord& record = upload.record();
  const std::uint64_t wanted =
      std::min(context_.options.facebookChunk, record.announcedSize - record.receivedSize);
  if (offset != record.receivedSize) return uploadProblem(wrongOffset, offsetsOf(record));
  if (chunk->size == 0 || chunk->size > wanted) return uploadProblem(wrongOffset, offsetsOf(record));
  Sha256 hash = upload.hash();
  if (context_.options.hashUploads) hash.add(chunk->bytes.data(), chunk->bytes.size());
  context_.arrivalOf(record).take(offset, chunk->bytes.data(), chunk->bytes.size());
  const std::string token = facebookToken(step.call, step.fields);
  upload.commit({offset, chunk->size, token}, hash, false, {});
  return offsets(upload.record());
}

Reply FacebookVideos::finish(const Step& step, UploadBook::Loan& upload) {
  const UploadRecord& record = upload.record();
  if (record.complete) return facebookBadParameter("Param upload_session_id must be an upload that goes on");
  if (record.receivedSize != record.announcedSize) return uploadProblem(wrongOffset, offsetsOf(record));
  if (const auto refused = refusedMetadata(step)) return *refused;
  Json::Value metadata(Json::objectValue);
  for (const char* name : {"title", "description", "privacy", "content_category"}) {
    if (const auto value = fieldOf(step.fields, name)) metadata[name] = *value;
  }
  if (const UploadForm::File* const thumb = step.form ? step.form->file("thumb") : nullptr) {
    metadata["thumb"]["size"] = Json::UInt64(thumb->size);
    metadata["thumb"]["sha256"] = thumb->sha256;
  }
  upload.describe(compactJson(metadata));
  upload.finish(context_.options.hashUploads ? upload.hash().hex() : std::string());
  context_.state.save();
  Json::Value value;
  value["success"] = true;
  return json(value);
}

std::optional<UploadRecord> FacebookVideos::theirs(const Call& call, const std::string& openId) const {
  std::optional<UploadRecord> upload = context_.uploads.byMediaId("facebook", call.rest);
  return upload && upload->openId == openId ? std::move(upload) : std::nullopt;
}

Json::Value FacebookVideos::statusOf(const UploadRecord& upload) {
  const bool whole = upload.receivedSize == upload.announcedSize;
  Json::Value value;
  value["video_status"] = upload.complete ? "ready" : whole ? "upload_complete" : "uploading";
  value["uploading_phase"]["status"] = whole ? "complete" : "in_progress";
  value["processing_phase"]["status"] = upload.complete ? "complete" : "not_started";
  value["publishing_phase"]["status"] = upload.complete ? "complete" : "not_started";
  if (upload.complete) value["publishing_phase"]["publish_status"] = "published";
  return value;
}

Reply FacebookVideos::look(const Call& call) {
  const std::optional<User> user = userOf(facebookToken(call, call.request.query));
  if (!user) return facebookUnauthorized();
  const std::optional<UploadRecord> upload = theirs(call, user->openId);
  if (!upload) return noSuchObject(call.rest);
  const std::string fields = call.request.parameter("fields").value_or("id");
  const std::string strange = strangeGraphField(fields, {"id", "status", "published"});
  if (!strange.empty()) return facebookNoSuchField(strange);
  Json::Value value;
  value["id"] = upload->mediaId;
  for (const std::string& field : graphFields(fields)) {
    if (field == "status") value["status"] = statusOf(*upload);
    if (field == "published") value["published"] = upload->complete;
  }
  return json(value);
}

Reply FacebookVideos::remove(const Call& call) {
  const std::optional<User> user = userOf(facebookToken(call, allFields(call)));
  if (!user) return facebookUnauthorized();
  if (!theirs(call, user->openId)) return noSuchObject(call.rest);
  context_.uploads.remove("facebook", call.rest);
  context_.state.save();
  Json::Value value;
  value["success"] = true;
  return json(value);
}

std::optional<Reply> FacebookVideos::refusedMetadata(const Step& step) {
  if (characterCount(fieldText(step.fields, "title")) > titleLimit) {
    return facebookBadParameter("Param title must be no more than 255 characters");
  }
  if (const auto privacy = fieldOf(step.fields, "privacy")) {
    const std::optional<Json::Value> value = parseJson(*privacy);
    const std::string word = value ? textMember(*value, "value").value_or("") : std::string();
    if (std::find(privacies.begin(), privacies.end(), word) == privacies.end()) {
      return facebookBadParameter("Param privacy is no privacy setting");
    }
  }
  const auto category = fieldOf(step.fields, "content_category");
  if (category && std::find(allCategories.begin(), allCategories.end(), *category) == allCategories.end()) {
    return facebookBadParameter("Param content_category must be one of the known categories");
  }
  const UploadForm::File* const thumb = step.form ? step.form->file("thumb") : nullptr;
  if (thumb && (thumb->size == 0 || !thumb->contentType.starts_with("image/"))) {
    return facebookBadParameter("Param thumb must be an image");
  }
  return std::nullopt;
}

Reply FacebookVideos::offsets(const UploadRecord& upload) const {
  return json(offsetsOf(upload));
}

Json::Value FacebookVideos::offsetsOf(const UploadRecord& upload) const {
  const std::uint64_t end =
      std::min(upload.receivedSize + context_.options.facebookChunk, upload.announcedSize);
  Json::Value value;
  value["start_offset"] = std::to_string(upload.receivedSize);
  value["end_offset"] = std::to_string(end);
  return value;
}

}  // namespace sandbox
