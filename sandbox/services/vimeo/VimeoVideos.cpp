#include "sandbox/services/vimeo/VimeoVideos.h"

#include "sandbox/base/JsonText.h"
#include "sandbox/base/Text.h"
#include "sandbox/services/vimeo/VimeoAccount.h"

#include <algorithm>
#include <array>

namespace sandbox {

namespace {

constexpr const char* videosPath = "/vimeo/me/videos";
constexpr const char* videoPath = "/vimeo/videos/";
constexpr const char* uploadPath = "/vimeo-files/upload/";
constexpr const char* picturePath = "/vimeo-files/pictures/";
constexpr const char* accept = "application/vnd.vimeo.*+json;version=3.4";
constexpr const char* tusVersion = "1.0.0";
constexpr const char* tusType = "application/offset+octet-stream";
constexpr std::size_t nameLimit = 128;
constexpr std::size_t descriptionLimit = 5000;
constexpr std::size_t mostTags = 20;
constexpr std::size_t mostCategories = 3;  // two, and one below one of them
constexpr std::chrono::seconds busyLimit{5};
constexpr std::array<std::string_view, 7> views{"anybody",  "contacts", "disable", "nobody",
                                                "password", "unlisted", "users"};

Reply badRequest(const std::string& message) {
  return vimeoError(400, 2204, message);
}

Reply unreadable(const std::string& message) {
  return vimeoError(400, 2205, message);
}

Reply notFound() {
  return vimeoError(404, 5000, "The requested video couldn't be found.");
}

Reply tusReply(int status, std::vector<std::pair<std::string, std::string>> headers = {}) {
  headers.emplace_back("Tus-Resumable", tusVersion);
  return {status, "", "text/plain", std::move(headers)};
}

/// The size as digits, in text or as a number.
std::optional<std::uint64_t> sizeOf(const Json::Value& upload) {
  unsigned long long size = 0;
  if (const auto text = textMember(upload, "size")) {
    return parseNumber(*text, size) && size > 0 ? std::optional<std::uint64_t>(size) : std::nullopt;
  }
  const std::optional<long long> number = integerMember(upload, "size");
  if (!number || *number <= 0) return std::nullopt;
  return static_cast<std::uint64_t>(*number);
}

using Words = std::optional<std::vector<std::string>>;

/// The words of [{"name": WORD}, ...]; nothing for anything else.
Words tagsOf(const std::string& body) {
  const std::optional<Json::Value> list = parseJson(body);
  if (!list || !list->isArray()) return std::nullopt;
  std::vector<std::string> words;
  for (const Json::Value& item : *list) {
    const std::optional<std::string> word = textMember(item, "name");
    if (!word || word->empty()) return std::nullopt;
    words.push_back(*word);
  }
  return words;
}

/// The words of {"category": [WORD, ...]}; nothing for anything else.
Words categoriesOf(const std::string& body) {
  const std::optional<Json::Value> value = parseJson(body);
  if (!value || !value->isObject() || !(*value)["category"].isArray()) return std::nullopt;
  std::vector<std::string> words;
  for (const Json::Value& item : (*value)["category"]) {
    if (!item.isString()) return std::nullopt;
    words.push_back(item.asString());
  }
  return words;
}

Json::Value arrayOf(const std::vector<std::string>& words) {
  Json::Value list(Json::arrayValue);
  for (const std::string& word : words) list.append(word);
  return list;
}

}  // namespace

VimeoVideos::VimeoVideos(ServiceContext& context) : OauthService(context, VimeoAccount::traits) {}

void VimeoVideos::addTo(Router& router) {
  router.add({Route::vimeoVideos, "POST", videosPath, [this](Call& call) { return open(call); }});
  const auto withRest = [&](Route route, const char* method, const char* path, Handler handler,
                            Endpoint::Body body = Endpoint::Body::whole) {
    router.add({route, method, path, std::move(handler), body, Endpoint::Path::withRest});
  };
  withRest(Route::vimeoUpload, "HEAD", uploadPath, [this](Call& call) { return progress(call); });
  withRest(
      Route::vimeoUpload, "PATCH", uploadPath, [this](Call& call) { return append(call); },
      Endpoint::Body::streamed);
  for (const char* method : {"GET", "DELETE", "PUT", "POST", "PATCH"}) {
    withRest(Route::vimeoDetails, method, videoPath, [this](Call& call) { return detail(call); });
  }
  withRest(Route::vimeoPicture, "PUT", picturePath, [this](Call& call) { return takePicture(call); });
}

Reply VimeoVideos::open(const Call& call) {
  const std::optional<User> user = userOf(call.request.bearer());
  if (!user) return vimeoUnauthorized();
  if (call.request.header("Accept") != accept) return badRequest("The version of the API must be 3.4.");
  if (!call.request.header("Content-Type").value_or("").starts_with("application/json")) {
    return unreadable("The body must be JSON.");
  }
  const std::optional<Json::Value> video = parseJson(call.body);
  if (!video || !video->isObject()) return unreadable("The body must be a JSON object.");
  if (auto refused = refusedVideo(*video)) return *refused;
  const std::uint64_t size = sizeOf((*video)["upload"]).value_or(0);
  if (size > VimeoAccount::freeSpace) {
    return vimeoError(403, 4101, "The user's storage quota would be exceeded.");
  }
  UploadRecord upload;
  upload.service = "vimeo";
  upload.mediaId = randomDigits(9);
  upload.openId = user->openId;
  upload.metadata = call.body;
  upload.headers = call.request.headers;
  upload.announcedSize = size;
  Json::Value value;
  value["uri"] = "/videos/" + upload.mediaId;
  value["link"] = "https://vimeo.com/" + upload.mediaId;
  value["name"] = textMember(*video, "name").value_or("Untitled");
  value["upload"]["approach"] = "tus";
  value["upload"]["status"] = "in_progress";
  value["upload"]["size"] = Json::UInt64(size);
  value["upload"]["upload_link"] = context_.baseUrl + uploadPath + context_.uploads.open(std::move(upload));
  return json(value, 201);
}

std::optional<Reply> VimeoVideos::refusedVideo(const Json::Value& video) {
  const Json::Value upload = video.get("upload", Json::Value());
  if (textMember(upload, "approach") != "tus") return vimeoError(400, 2230, "upload.approach must be tus.");
  if (!sizeOf(upload)) return badRequest("upload.size must be a number greater than 0.");
  if (video.isMember("name") && !textMember(video, "name")) return badRequest("name must be a text.");
  if (characterCount(textMember(video, "name").value_or("")) > nameLimit)
    return badRequest("name is too long.");
  if (video.isMember("description") && !textMember(video, "description")) {
    return badRequest("description must be a text.");
  }
  if (characterCount(textMember(video, "description").value_or("")) > descriptionLimit) {
    return badRequest("description is too long.");
  }
  if (!video.isMember("privacy")) return std::nullopt;
  const std::string view = textMember(video["privacy"], "view").value_or("");
  const bool known = std::find(views.begin(), views.end(), view) != views.end();
  return known ? std::nullopt : std::optional(badRequest("privacy.view has no such value."));
}

Reply VimeoVideos::progress(const Call& call) const {
  if (call.request.header("Tus-Resumable") != tusVersion) return tusReply(412);
  std::optional<UploadBook::Loan> upload = context_.uploads.borrow(call.rest, busyLimit);
  if (!upload && context_.uploads.knows(call.rest)) return tusReply(423);
  if (!upload || upload->record().service != "vimeo") return tusReply(404);
  const UploadRecord& record = upload->record();
  return tusReply(200, {{"Upload-Offset", std::to_string(record.receivedSize)},
                        {"Upload-Length", std::to_string(record.announcedSize)},
                        {"Cache-Control", "no-store"}});
}

Reply VimeoVideos::append(const Call& call) {
  if (call.request.header("Tus-Resumable") != tusVersion) return tusReply(412);
  if (call.request.header("Content-Type") != tusType) return tusReply(415);
  unsigned long long offset = 0;
  if (!parseNumber(call.request.header("Upload-Offset").value_or(""), offset)) return tusReply(400);
  std::optional<UploadBook::Loan> upload = context_.uploads.borrow(call.rest, busyLimit);
  if (!upload && context_.uploads.knows(call.rest)) return tusReply(423);
  if (!upload || upload->record().service != "vimeo") return tusReply(404);
  const UploadRecord& record = upload->record();
  if (offset != record.receivedSize) {
    return tusReply(409, {{"Upload-Offset", std::to_string(record.receivedSize)}});
  }
  if (call.announcedLength > record.announcedSize - record.receivedSize) return tusReply(413);
  return receive(call, *upload);
}

Reply VimeoVideos::receive(const Call& call, UploadBook::Loan& upload) {
  const std::uint64_t begin = upload.record().receivedSize;
  const std::uint64_t room = upload.record().announcedSize - begin;
  const Arrival arrival = context_.arrivalOf(upload.record());
  Sha256 hash = upload.hash();
  std::uint64_t arrived = 0;
  call.readBody([&](const char* bytes, std::size_t count) {
    const auto taken = static_cast<std::size_t>(std::min<std::uint64_t>(count, room - arrived));
    if (context_.options.hashUploads) hash.add(bytes, taken);
    arrival.take(begin + arrived, bytes, taken);
    arrived += taken;
    return taken == count;
  });
  const bool last = begin + arrived == upload.record().announcedSize;
  const std::string sha256 = last && context_.options.hashUploads ? hash.hex() : std::string();
  if (arrived > 0 && !upload.record().complete) upload.commit({begin, arrived, {}}, hash, last, sha256);
  if (last) context_.state.save();
  return tusReply(204, {{"Upload-Offset", std::to_string(upload.record().receivedSize)}});
}

/// "VIDEO", "VIDEO/tags", "VIDEO/categories", "VIDEO/pictures" or "VIDEO/pictures/PICTURE".
Reply VimeoVideos::detail(const Call& call) {
  const std::optional<User> user = userOf(call.request.bearer());
  if (!user) return vimeoUnauthorized();
  const std::size_t slash = std::min(call.rest.find('/'), call.rest.size());
  const std::string mediaId = call.rest.substr(0, slash);
  const std::string what = call.rest.substr(std::min(slash + 1, call.rest.size()));
  const std::optional<UploadRecord> upload = context_.uploads.byMediaId("vimeo", mediaId);
  if (!upload) return notFound();
  if (upload->openId != user->openId) {
    // What others may not see is not there.
    return call.request.method == "GET" ? notFound() : vimeoError(403, 3200, "The video is another user's.");
  }
  if (call.request.method == "GET" && what.empty()) return look(call, *upload);
  if (call.request.method == "DELETE" && what.empty()) return remove(*upload);
  const std::string pictures = "pictures/";
  if (call.request.method == "PUT" && what == "tags") return setTags(call, mediaId);
  if (call.request.method == "PUT" && what == "categories") return setCategories(call, mediaId);
  if (call.request.method == "POST" && what == "pictures") return openPicture(mediaId);
  if (call.request.method == "PATCH" && what.starts_with(pictures)) {
    return showPicture(call, mediaId, what.substr(pictures.size()));
  }
  return vimeoError(405, 5001, "The method isn't allowed here.");
}

/// Of the members that `fields` names, those that there are.
Reply VimeoVideos::look(const Call& call, const UploadRecord& upload) const {
  const std::string fields = "," + call.request.parameter("fields").value_or("uri,link,upload.status") + ",";
  const auto wants = [&](const char* field) {
    return fields.find("," + std::string(field) + ",") != std::string::npos;
  };
  Json::Value value(Json::objectValue);
  if (wants("uri")) value["uri"] = "/videos/" + upload.mediaId;
  if (wants("link")) value["link"] = "https://vimeo.com/" + upload.mediaId;
  if (wants("upload.status")) value["upload"]["status"] = upload.complete ? "complete" : "in_progress";
  return json(value);
}

Reply VimeoVideos::remove(const UploadRecord& upload) {
  context_.uploads.remove("vimeo", upload.mediaId);
  context_.state.save();
  return {204, "", "application/json", {}};
}

Reply VimeoVideos::setTags(const Call& call, const std::string& mediaId) {
  const Words tags = tagsOf(call.body);
  if (!tags) return badRequest("The tags must be an array of objects with a name.");
  if (tags->size() > mostTags) return vimeoError(403, 3200, "The video has room for 20 tags.");
  context_.uploads.annotate("vimeo", mediaId, "tags", arrayOf(*tags));
  context_.state.save();
  return json(Json::Value(Json::objectValue));
}

Reply VimeoVideos::setCategories(const Call& call, const std::string& mediaId) {
  const Words categories = categoriesOf(call.body);
  if (!categories || categories->empty()) return badRequest("category must be an array of names.");
  if (categories->size() > mostCategories) return badRequest("There is room for two categories and a part.");
  if (!std::all_of(categories->begin(), categories->end(), isVimeoCategory)) {
    return vimeoError(404, 5000, "There is no such category.");
  }
  context_.uploads.annotate("vimeo", mediaId, "categories", arrayOf(*categories));
  context_.state.save();
  return json(Json::Value(Json::objectValue), 201);
}

Reply VimeoVideos::openPicture(const std::string& mediaId) {
  const std::string picture = randomDigits(10);
  Json::Value thumbnail;
  thumbnail["picture"] = picture;
  context_.uploads.annotate("vimeo", mediaId, "thumbnail", thumbnail);
  Json::Value value;
  value["uri"] = "/videos/" + mediaId + "/pictures/" + picture;
  value["active"] = false;
  value["link"] = context_.baseUrl + picturePath + mediaId + "/" + picture;
  return json(value, 201);
}

/// "VIDEO/PICTURE"; the address is the permission.
Reply VimeoVideos::takePicture(const Call& call) {
  const std::size_t slash = std::min(call.rest.find('/'), call.rest.size());
  const std::string mediaId = call.rest.substr(0, slash);
  const std::optional<UploadRecord> upload = context_.uploads.byMediaId("vimeo", mediaId);
  const Json::Value metadata =
      parseJson(upload ? upload->metadata : "").value_or(Json::Value(Json::objectValue));
  Json::Value thumbnail = metadata.get("thumbnail", Json::Value(Json::objectValue));
  const std::string known = textMember(thumbnail, "picture").value_or("");
  if (known.empty() || call.rest.substr(std::min(slash + 1, call.rest.size())) != known) return notFound();
  const std::string type = call.request.header("Content-Type").value_or("");
  if (!type.starts_with("image/") || call.body.empty()) return badRequest("The picture must be an image.");
  Sha256 hash;
  hash.add(call.body.data(), call.body.size());
  thumbnail["size"] = Json::UInt64(call.body.size());
  thumbnail["sha256"] = hash.hex();
  context_.uploads.annotate("vimeo", mediaId, "thumbnail", thumbnail);
  return {200, "", "text/plain", {}};
}

Reply VimeoVideos::showPicture(const Call& call, const std::string& mediaId, const std::string& picture) {
  const std::optional<UploadRecord> upload = context_.uploads.byMediaId("vimeo", mediaId);
  const Json::Value metadata =
      parseJson(upload ? upload->metadata : "").value_or(Json::Value(Json::objectValue));
  Json::Value thumbnail = metadata.get("thumbnail", Json::Value(Json::objectValue));
  if (textMember(thumbnail, "picture") != picture || !thumbnail.isMember("sha256")) return notFound();
  const std::optional<Json::Value> body = parseJson(call.body);
  if (!body || !body->isObject() || !(*body)["active"].isBool())
    return badRequest("active must be a boolean.");
  thumbnail["active"] = (*body)["active"].asBool();
  context_.uploads.annotate("vimeo", mediaId, "thumbnail", thumbnail);
  context_.state.save();
  Json::Value value;
  value["uri"] = "/videos/" + mediaId + "/pictures/" + picture;
  value["active"] = thumbnail["active"];
  return json(value);
}

}  // namespace sandbox
