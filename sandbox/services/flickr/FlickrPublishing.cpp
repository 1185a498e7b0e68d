#include "sandbox/services/flickr/FlickrPublishing.h"

#include "sandbox/base/JsonText.h"
#include "sandbox/base/MediaAccounts.h"
#include "sandbox/base/Text.h"
#include "sandbox/services/HtmlPage.h"
#include "sandbox/services/flickr/FlickrError.h"

#include <algorithm>
#include <sstream>

namespace sandbox {

namespace {

constexpr const char* oauthPath = "/flickr-scripts/oauth";
constexpr const char* restPath = "/flickr-scripts/rest";
constexpr const char* uploadPath = "/flickr-scripts/upload";
constexpr int fileMissing = 2;
constexpr int badSignature = 96;
constexpr int noSignature = 97;
constexpr int badToken = 98;
constexpr int badKey = 100;
constexpr int unknownFormat = 111;
constexpr int unknownMethod = 112;
constexpr std::size_t titleLimit = 255;

Reply plainForm(const FormFields& fields, int status = 200) {
  std::string text;
  for (const auto& [name, value] : fields) {
    text += (text.empty() ? "" : "&") + name + "=" + percentEncoded(value);
  }
  return {status, text, "text/plain; charset=utf-8", {}};
}

Reply problem(const std::string& word) {
  return plainForm({{"oauth_problem", word}}, 401);
}

Reply ok(Json::Value value) {
  value["stat"] = "ok";
  Reply reply;
  reply.body = compactJson(value);
  return reply;
}

Reply xml(const std::string& attributes, const std::string& content) {
  return {200,
          "<?xml version=\"1.0\" encoding=\"utf-8\" ?>\n<rsp " + attributes + ">\n" + content + "\n</rsp>\n",
          "text/xml; charset=utf-8",
          {}};
}

Reply xmlFailure(int code, const std::string& message) {
  return xml("stat=\"fail\"",
             "<err code=\"" + std::to_string(code) + "\" msg=\"" + htmlEscaped(message) + "\" />");
}

std::string nsidOf(const User& user) {
  return user.openId.substr(0, 11) + "@N0" + user.openId.substr(user.openId.size() - 1);
}

bool isFlag(const std::string& value) {
  return value.empty() || value == "0" || value == "1";
}

}  // namespace

FlickrPublishing::FlickrPublishing(ServiceContext& context, NonceBook& nonces)
    : context_(context), check_(context, nonces) {}

void FlickrPublishing::addTo(Router& router) {
  const std::string oauth = oauthPath;
  for (const char* verb : {"GET", "POST"}) {
    router.add({Route::flickrRequestToken, verb, oauth + "/request_token",
                [this](Call& call) { return requestToken(call); }});
    router.add({Route::flickrToken, verb, oauth + "/access_token",
                [this](Call& call) { return accessToken(call); }});
  }
  router.add({Route::flickrLogin, "GET", oauth + "/authorize", [this](Call& call) { return login(call); }});
  router.add({Route::flickrMethods, "GET", restPath, [this](Call& call) { return method(call); }});
  router.add({Route::flickrUpload, "POST", uploadPath, [this](Call& call) { return upload(call); },
              Endpoint::Body::streamed});
}

std::vector<std::pair<std::string, std::string>> FlickrPublishing::scriptKeys() const {
  return {{"flickrOauth", oauthPath}, {"flickrRest", restPath}, {"flickrUpload", uploadPath}};
}

Reply FlickrPublishing::requestToken(const Call& call) {
  const FormFields fields = OauthOneCheck::fieldsOf(call);
  const OauthOneCheck::Verdict verdict = check_.check(call, fields, {});
  if (verdict != OauthOneCheck::Verdict::good) return problem(OauthOneCheck::problemWord(verdict));
  const std::string callback = fieldText(fields, "oauth_callback");
  const std::string& known = context_.options.appRedirect;
  const bool isWeb = callback.starts_with("http://") || callback.starts_with("https://");
  if (!isWeb || (!known.empty() && callback != known)) return problem("parameter_rejected");
  const std::string token = "72157" + randomDigits(12) + "-" + randomText(16);
  {
    const std::lock_guard lock(mutex_);
    requestTokens_[token] = callback;
  }
  return plainForm({{"oauth_callback_confirmed", "true"},
                    {"oauth_token", token},
                    {"oauth_token_secret", OauthOneCheck::secretOf(token)}});
}

Reply FlickrPublishing::login(const Call& call) {
  const std::string token = call.request.parameter("oauth_token").value_or("");
  LoginRequest request;
  request.platform = Platform::flickr;
  request.requestToken = token;
  {
    const std::lock_guard lock(mutex_);
    const auto found = requestTokens_.find(token);
    if (found != requestTokens_.end()) request.redirectUri = found->second;
  }
  if (request.redirectUri.empty()) {
    return htmlPage(400, "This sign-in cannot start", "<p role=\"alert\">Unknown oauth_token.</p>\n");
  }
  const std::string perms = call.request.parameter("perms").value_or("");
  if (perms != "write" && perms != "delete") {
    return htmlPage(400, "This sign-in cannot start", "<p role=\"alert\">perms must be write.</p>\n");
  }
  const LoginSession session = context_.accounts.openRedirectSession(Platform::flickr, request.redirectUri,
                                                                     {perms}, context_.baseUrl + "/consent/");
  context_.grants.expect(session.id, std::move(request));
  return redirectTo(context_.grants.address(session).value_or(session.openUrl));
}

Reply FlickrPublishing::accessToken(const Call& call) {
  const FormFields fields = OauthOneCheck::fieldsOf(call);
  const std::string token = fieldText(fields, "oauth_token");
  {
    const std::lock_guard lock(mutex_);
    if (!requestTokens_.contains(token)) return problem("token_rejected");
  }
  const OauthOneCheck::Verdict verdict = check_.check(call, fields, OauthOneCheck::secretOf(token));
  if (verdict != OauthOneCheck::Verdict::good) return problem(OauthOneCheck::problemWord(verdict));
  const std::optional<Grant> grant = context_.grants.spend(fieldText(fields, "oauth_verifier"));
  if (!grant || grant->request.requestToken != token) return problem("verifier_invalid");
  const std::optional<User> user = context_.accounts.user(grant->openId);
  if (!user) return problem("token_rejected");
  {
    const std::lock_guard lock(mutex_);
    requestTokens_.erase(token);
  }
  const std::string access = context_.accounts.issueAccessToken(Platform::flickr, user->openId, std::nullopt);
  context_.state.save();
  return plainForm({{"fullname", user->name},
                    {"oauth_token", access},
                    {"oauth_token_secret", OauthOneCheck::secretOf(access)},
                    {"user_nsid", nsidOf(*user)},
                    {"username", accountName(*user)}});
}

FlickrPublishing::Caller FlickrPublishing::callerOf(const Call& call, const FormFields& fields) {
  const std::string token = fieldText(fields, "oauth_token");
  std::optional<User> user = context_.userOf(token, Platform::flickr);
  const OauthOneCheck::Verdict verdict = check_.check(call, fields, OauthOneCheck::secretOf(token));
  if (verdict == OauthOneCheck::Verdict::unknownKey) {
    return {std::nullopt, badKey, "Invalid API Key (Key has invalid format)"};
  }
  if (verdict == OauthOneCheck::Verdict::missingSignature) {
    return {std::nullopt, noSignature, "Missing signature"};
  }
  if (!user) return {std::nullopt, badToken, "Invalid auth token"};
  if (verdict == OauthOneCheck::Verdict::good) return {std::move(user), 0, {}};
  return {std::nullopt, badSignature,
          std::string("Invalid signature (") + OauthOneCheck::problemWord(verdict) + ")"};
}

Reply FlickrPublishing::method(const Call& call) {
  const FormFields fields = OauthOneCheck::fieldsOf(call);
  const Caller caller = callerOf(call, fields);
  if (!caller.user) return flickrError(caller.code, caller.message);
  if (fieldText(fields, "format") != "json" || fieldText(fields, "nojsoncallback") != "1") {
    return flickrError(unknownFormat, "Format not found");
  }
  const std::string name = fieldText(fields, "method");
  if (name == "flickr.photos.upload.checkTickets") return checkTickets(fields, *caller.user);
  if (name == "flickr.people.getPhotos") return photos(fields, *caller.user);
  if (name == "flickr.test.login") return testLogin(*caller.user);
  if (name == "flickr.people.getUploadStatus") return uploadStatus(*caller.user);
  return flickrError(unknownMethod, "Method \"" + name + "\" not found");
}

/// A ticket is ready after some questions.
Reply FlickrPublishing::checkTickets(const FormFields& fields, const User& user) {
  Json::Value value;
  value["uploader"]["ticket"] = Json::Value(Json::arrayValue);
  std::istringstream wanted(fieldText(fields, "tickets"));
  const std::lock_guard lock(mutex_);
  for (std::string id; std::getline(wanted, id, ',');) {
    Json::Value entry;
    entry["id"] = id;
    const auto found = tickets_.find(id);
    if (found == tickets_.end() || found->second.openId != user.openId) {
      entry["invalid"] = 1;
    } else {
      const bool ready = found->second.questions++ >= context_.options.ticketQuestions;
      entry["complete"] = ready ? 1 : 0;
      if (ready) entry["photoid"] = found->second.mediaId;
    }
    value["uploader"]["ticket"].append(entry);
  }
  return ok(std::move(value));
}

/// The caller's own, the newest first.
Reply FlickrPublishing::photos(const FormFields& fields, const User& user) {
  if (fieldText(fields, "user_id") != "me") return flickrError(1, "User not found");
  unsigned long long room = 100;
  if (const auto asked = fieldOf(fields, "per_page"); asked && !parseNumber(*asked, room)) room = 100;
  std::vector<UploadRecord> uploads = context_.uploads.all();
  std::reverse(uploads.begin(), uploads.end());
  Json::Value value;
  Json::Value& list = value["photos"]["photo"] = Json::Value(Json::arrayValue);
  const std::lock_guard lock(mutex_);
  for (const UploadRecord& upload : uploads) {
    const auto posted = posted_.find(upload.mediaId);
    if (upload.service != "flickr" || upload.openId != user.openId || posted == posted_.end()) continue;
    if (list.size() >= room) break;
    const Json::Value metadata = parseJson(upload.metadata).value_or(Json::Value());
    Json::Value entry;
    entry["id"] = upload.mediaId;
    entry["owner"] = nsidOf(user);
    entry["title"] = textMember(metadata, "title").value_or("");
    const std::string extras = "," + fieldText(fields, "extras") + ",";
    if (extras.find(",date_upload,") != std::string::npos) {
      entry["dateupload"] = std::to_string(std::chrono::system_clock::to_time_t(posted->second));
    }
    if (extras.find(",media,") != std::string::npos) entry["media"] = "video";
    list.append(entry);
  }
  return ok(std::move(value));
}

Reply FlickrPublishing::testLogin(const User& user) {
  Json::Value value;
  value["user"]["id"] = nsidOf(user);
  value["user"]["username"]["_content"] = accountName(user);
  return ok(std::move(value));
}

Reply FlickrPublishing::uploadStatus(const User& user) {
  Json::Value value;
  Json::Value& account = value["user"];
  account["id"] = nsidOf(user);
  account["ispro"] = 0;
  account["username"]["_content"] = accountName(user);
  account["bandwidth"]["maxkb"] = "1048576";
  account["bandwidth"]["usedkb"] = "524288";
  account["bandwidth"]["remainingkb"] = "524288";
  account["bandwidth"]["unlimited"] = 0;
  account["videosize"]["maxbytes"] = "1073741824";
  return ok(std::move(value));
}

/// The file goes by without being kept; the signature is known when the fields are.
Reply FlickrPublishing::upload(const Call& call) {
  const auto boundary = MultipartForm::boundaryOf(call.request.header("Content-Type").value_or(""));
  if (!boundary) return xmlFailure(fileMissing, "No photo specified");
  const Arrival arrival = context_.newArrival("flickr", call.announcedLength);
  UploadForm form(*boundary, 0);
  form.watchFiles([&](const UploadForm::File& file, const char* bytes, std::size_t count) {
    if (file.field == "photo") arrival.take(file.size, bytes, count);
  });
  const bool whole =
      call.readBody([&](const char* bytes, std::size_t count) { return form.take(bytes, count); });
  if (!form.finish() || !whole) return xmlFailure(3, "General upload failure");
  FormFields fields = OauthOneCheck::fieldsOf(call);
  fields.insert(fields.end(), form.fields().begin(), form.fields().end());
  const Caller caller = callerOf(call, fields);
  if (!caller.user) return xmlFailure(caller.code, caller.message);
  const UploadForm::File* const photo = form.file("photo");
  if (!photo) return xmlFailure(fileMissing, "No photo specified");
  if (photo->size == 0) return xmlFailure(4, "Filesize was zero");
  return take(call, fields, *photo, *caller.user, arrival.uploadId());
}

std::optional<std::string> FlickrPublishing::twinOf(const UploadForm::File& photo, const User& user) const {
  for (const UploadRecord& upload : context_.uploads.all()) {
    const bool theirs = upload.service == "flickr" && upload.openId == user.openId;
    if (theirs && !upload.sha256.empty() && upload.sha256 == photo.sha256) return upload.mediaId;
  }
  return std::nullopt;
}

Reply FlickrPublishing::take(const Call& call, const FormFields& fields, const UploadForm::File& photo,
                             const User& user, const std::string& uploadId) {
  for (const char* name : {"is_public", "is_friend", "is_family", "async", "dedup_check"}) {
    if (!isFlag(fieldText(fields, name))) return xmlFailure(5, std::string(name) + " must be 0 or 1");
  }
  if (characterCount(fieldText(fields, "title")) > titleLimit) return xmlFailure(5, "The title is too long");
  if (const auto twin = fieldText(fields, "dedup_check") == "1" ? twinOf(photo, user) : std::nullopt) {
    return xml("stat=\"fail\"",
               "<err code=\"9\" msg=\"Duplicate photo/video detected\" duplicate_photo_id=\"" + *twin +
                   "\" duplicate_photo_status=\"1\" />");
  }
  Json::Value metadata;
  for (const char* name : {"title", "description", "tags", "is_public", "is_friend", "is_family"}) {
    if (const auto value = fieldOf(fields, name)) metadata[name] = *value;
  }
  UploadRecord record;
  record.service = "flickr";
  record.uploadId = uploadId;
  record.mediaId = randomDigits(11);
  record.openId = user.openId;
  record.fileName = photo.fileName;
  record.mediaType = photo.contentType;
  record.metadata = compactJson(metadata);
  record.headers = call.request.headers;
  record.announcedSize = photo.size;
  record.receivedSize = photo.size;
  record.sha256 = context_.options.hashUploads ? photo.sha256 : std::string();
  record.chunks.push_back({0, photo.size, fieldText(fields, "oauth_token")});
  const std::string mediaId = context_.uploads.addComplete(std::move(record));
  {
    const std::lock_guard lock(mutex_);
    posted_[mediaId] = std::chrono::system_clock::now();
  }
  context_.state.save();
  if (fieldText(fields, "async") != "1") return xml("stat=\"ok\"", "<photoid>" + mediaId + "</photoid>");
  const std::string ticket = randomDigits(12) + "-" + randomDigits(8);
  const std::lock_guard lock(mutex_);
  tickets_[ticket] = {mediaId, user.openId, 0};
  return xml("stat=\"ok\"", "<ticketid>" + ticket + "</ticketid>");
}

}  // namespace sandbox
