#include "sandbox/services/twitch/TwitchVideos.h"

#include "sandbox/base/JsonText.h"
#include "sandbox/base/Text.h"
#include "sandbox/services/twitch/TwitchAccount.h"

#include <sstream>

namespace sandbox {

namespace {

constexpr const char* apiPath = "/twitch/kraken";
constexpr const char* uploadPath = "/twitch-upload/upload/";
constexpr const char* accept = "application/vnd.twitchtv.v5+json";
constexpr std::size_t titleLimit = 100;
constexpr std::size_t tagLimit = 100;
constexpr std::size_t tagListLimit = 500;
constexpr std::chrono::seconds busyLimit{5};

bool areTags(const std::string& list) {
  std::istringstream tags(list);
  for (std::string tag; std::getline(tags, tag, ',');) {
    if (characterCount(tag) > tagLimit) return false;
  }
  return characterCount(list) <= tagListLimit;
}

}  // namespace

TwitchVideos::TwitchVideos(ServiceContext& context) : OauthService(context, TwitchAccount::traits) {}

void TwitchVideos::addTo(Router& router) {
  router.add({Route::twitchVideos, "POST", std::string(apiPath) + "/videos",
              [this](Call& call) { return create(call); }});
  const std::string videos = std::string(apiPath) + "/videos/";
  router.add({Route::twitchVideo, "GET", videos, [this](Call& call) { return look(call); },
              Endpoint::Body::whole, Endpoint::Path::withRest});
  router.add({Route::twitchVideo, "DELETE", videos, [this](Call& call) { return remove(call); },
              Endpoint::Body::whole, Endpoint::Path::withRest});
  router.add({Route::twitchPart, "PUT", uploadPath, [this](Call& call) { return part(call); },
              Endpoint::Body::streamed, Endpoint::Path::withRest});
  router.add({Route::twitchComplete, "POST", uploadPath, [this](Call& call) { return complete(call); },
              Endpoint::Body::whole, Endpoint::Path::withRest, "/complete"});
}

std::vector<std::pair<std::string, std::string>> TwitchVideos::scriptKeys() const {
  return {{"twitchApi", apiPath}};
}

Reply TwitchVideos::create(const Call& call) {
  if (context_.options.twitchUploadWithdrawn) {
    return twitchError(410, "This API has been removed. Migrate to the current API.");
  }
  if (call.request.header("Accept") != accept) return twitchError(400, "The API version must be 5");
  if (!isTwitchClient(context_, call)) return twitchError(400, "No client id specified");
  const std::optional<User> user = userOf(authorization(call, "OAuth"));
  if (!user) return twitchError(401, "invalid oauth token");
  const FormFields& fields = call.request.query;
  if (fieldText(fields, "channel_id") != user->openId) {
    return twitchError(403, "You do not have access to the channel");
  }
  const std::string title = fieldText(fields, "title");
  if (title.empty() || characterCount(title) > titleLimit)
    return twitchError(400, "title is missing or too long");
  const std::string viewable = fieldOf(fields, "viewable").value_or("public");
  if (viewable != "public" && viewable != "private") return twitchError(400, "viewable has no such value");
  if (!areTags(fieldText(fields, "tag_list"))) return twitchError(400, "tag_list is too long");
  Json::Value metadata;
  for (const char* name : {"channel_id", "title", "description", "tag_list", "viewable"}) {
    if (const auto value = fieldOf(fields, name)) metadata[name] = *value;
  }
  UploadRecord upload;
  upload.service = "twitch";
  upload.mediaId = randomDigits(9);
  upload.openId = user->openId;
  upload.metadata = compactJson(metadata);
  upload.headers = call.request.headers;
  const std::string mediaId = upload.mediaId;
  const std::string token = context_.uploads.open(std::move(upload));
  Json::Value value;
  value["upload"]["token"] = token;
  value["upload"]["url"] = context_.baseUrl + uploadPath + mediaId;
  value["video"]["_id"] = "v" + mediaId;
  value["video"]["title"] = title;
  value["video"]["status"] = "created";
  value["video"]["viewable"] = viewable;
  value["video"]["url"] = "https://www.twitch.tv/videos/" + mediaId;
  return json(value);
}

TwitchVideos::Found TwitchVideos::found(const Call& call) const {
  if (call.request.header("Accept") != accept) return {{}, twitchError(400, "The API version must be 5")};
  if (!isTwitchClient(context_, call)) return {{}, twitchError(400, "No client id specified")};
  const std::optional<User> user = userOf(authorization(call, "OAuth"));
  if (!user) return {{}, twitchError(401, "invalid oauth token")};
  const std::string id = call.rest.starts_with('v') ? call.rest.substr(1) : call.rest;
  std::optional<UploadRecord> upload = context_.uploads.byMediaId("twitch", id);
  if (!upload || upload->openId != user->openId) return {{}, twitchError(404, "video does not exist")};
  return {std::move(upload), {}};
}

Reply TwitchVideos::look(const Call& call) {
  const Found video = found(call);
  if (!video.upload) return video.refusal;
  Json::Value value;
  value["_id"] = "v" + video.upload->mediaId;
  value["status"] = video.upload->complete ? "recorded" : "created";
  value["url"] = "https://www.twitch.tv/videos/" + video.upload->mediaId;
  return json(value);
}

Reply TwitchVideos::remove(const Call& call) {
  const Found video = found(call);
  if (!video.upload) return video.refusal;
  context_.uploads.remove("twitch", video.upload->mediaId);
  context_.state.save();
  return {204, "", "application/json", {}};
}

std::optional<UploadBook::Loan> TwitchVideos::lent(const Call& call) {
  const std::string token = call.request.parameter("upload_token").value_or("");
  std::optional<UploadBook::Loan> upload = context_.uploads.borrow(token, busyLimit);
  const bool fits = upload && upload->record().service == "twitch" && upload->record().mediaId == call.rest;
  if (!fits) return std::nullopt;
  return upload;
}

Reply TwitchVideos::part(const Call& call) {
  unsigned long long number = 0;
  if (!parseNumber(call.request.parameter("part").value_or(""), number) || number == 0) {
    return twitchError(400, "part must be a number from 1");
  }
  std::optional<UploadBook::Loan> upload = lent(call);
  if (!upload) return twitchError(403, "the upload token is invalid");
  if (upload->record().complete) return twitchError(400, "the upload is complete");
  if (call.announcedLength == 0) return twitchError(400, "Content-Length is missing");
  if (call.announcedLength > largestPart) return twitchError(413, "the part is larger than 25 MiB");
  return receive(call, number, *upload);
}

Reply TwitchVideos::receive(const Call& call, std::uint64_t number, UploadBook::Loan& upload) {
  const std::vector<UploadedChunk>& parts = upload.record().chunks;
  const bool again = number == parts.size();
  if (number > parts.size() + 1) return twitchError(400, "a part is missing in front of this one");
  if (number < parts.size()) return twitchError(400, "the part is there already");
  if (!again && !parts.empty() && parts.back().size < smallestPart) {
    return twitchError(400, "only the last part may be smaller than 5 MiB");
  }
  const std::uint64_t offset = again ? parts.back().offset : upload.record().receivedSize;
  const Arrival arrival = context_.arrivalOf(upload.record());
  Sha256 hash = again ? upload.hashBeforeLast() : upload.hash();
  std::uint64_t arrived = 0;
  const bool whole = call.readBody([&](const char* bytes, std::size_t count) {
    if (context_.options.hashUploads) hash.add(bytes, count);
    arrival.take(offset + arrived, bytes, count);
    arrived += count;
    return true;
  });
  if (!whole) return twitchError(400, "the part did not come whole");
  const UploadedChunk chunk{offset, arrived, call.request.parameter("upload_token").value_or("")};
  again ? upload.replaceLast(chunk, hash) : upload.commit(chunk, hash, false, {});
  return {200, "", "application/json", {}};
}

Reply TwitchVideos::complete(const Call& call) {
  std::optional<UploadBook::Loan> upload = lent(call);
  if (!upload) return twitchError(403, "the upload token is invalid");
  if (upload->record().complete) return twitchError(400, "the upload is complete");
  if (upload->record().chunks.empty()) return twitchError(400, "no part was uploaded");
  upload->finish(context_.options.hashUploads ? upload->hash().hex() : std::string());
  context_.state.save();
  return {200, "", "application/json", {}};
}

}  // namespace sandbox
