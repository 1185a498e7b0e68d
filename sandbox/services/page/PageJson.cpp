#include "sandbox/services/page/PageJson.h"

#include "sandbox/base/JsonText.h"
#include "sandbox/base/Masking.h"
#include "sandbox/services/inspection/FaultJson.h"

#include <algorithm>
#include <map>
#include <utility>

namespace sandbox {

namespace {

/// Of what grows without end the latest are shown.
constexpr std::size_t shownOrders = 50;
constexpr std::size_t shownDecided = 5;
constexpr std::size_t shownUploads = 20;
/// An upload from which nothing came for so long does not run.
constexpr std::chrono::seconds longestPause{3};

Json::Int64 milliseconds(std::chrono::system_clock::time_point time) {
  return std::chrono::duration_cast<std::chrono::milliseconds>(time.time_since_epoch()).count();
}

/// 0 stands for a token that has no end.
Json::Int64 endOf(const TokenState& state) {
  return state.expiry == std::chrono::system_clock::time_point::max() ? 0 : milliseconds(state.expiry);
}

const char* nameOf(Consent consent) {
  switch (consent) {
    case Consent::ask:
      return "ask";
    case Consent::deny:
      return "deny";
    case Consent::never:
      return "never";
    default:
      return "auto";
  }
}

std::string nameOf(const std::vector<User>& users, const std::string& openId) {
  const auto found =
      std::find_if(users.begin(), users.end(), [&](const User& user) { return user.openId == openId; });
  return found == users.end() ? std::string() : found->name;
}

Json::Value textList(const std::vector<std::string>& texts) {
  Json::Value list(Json::arrayValue);
  for (const std::string& text : texts) list.append(text);
  return list;
}

/// The good tokens of one kind: how many, and the one that holds longest.
struct Tokens {
  std::size_t count = 0;
  std::string text;
  TokenState state;

  void add(const std::string& other, const TokenState& its) {
    if (count++ > 0 && its.expiry <= state.expiry) return;
    text = other;
    state = its;
  }
};

Json::Value jsonOf(const Tokens& tokens) {
  Json::Value value;
  value["count"] = Json::UInt64(tokens.count);
  value["token"] = maskedText(tokens.text);
  value["until"] = tokens.count == 0 ? 0 : endOf(tokens.state);
  return value;
}

Json::Value jsonOf(const LoginSession& session, const std::vector<User>& users) {
  Json::Value value;
  value["session_id"] = session.id;
  value["platform"] = platformName(session.platform);
  value["scopes"] = textList(session.scopes);
  value["address"] = session.openUrl;
  value["decision"] = decisionName(session.decision);
  value["name"] = nameOf(users, session.openId);
  return value;
}

/// The title among what the client said, wherever its service wants it.
std::string titleOf(const Json::Value& metadata) {
  if (!metadata.isObject()) return {};
  if (metadata["snippet"].isObject()) return textMember(metadata["snippet"], "title").value_or("");
  for (const char* name : {"title", "name", "caption"}) {
    if (auto title = textMember(metadata, name)) return *title;
  }
  return {};
}

Json::Value curveJson(const RateCurve& curve) {
  Json::Value value;
  value["step"] = Json::Int64(curve.step().count());
  value["bytes"] = Json::Value(Json::arrayValue);
  for (const std::uint64_t bytes : curve.bytes()) value["bytes"].append(Json::UInt64(bytes));
  return value;
}

Json::Value jsonOf(const UploadRecord& record, const std::vector<User>& users) {
  const Json::Value metadata = parseJson(record.metadata).value_or(Json::Value());
  Json::Value value;
  value["id"] = record.uploadId;
  value["service"] = record.service;
  value["media_id"] = record.mediaId;
  value["name"] = nameOf(users, record.openId);
  value["title"] = titleOf(metadata);
  value["file_name"] = record.fileName;
  value["metadata"] = metadata.isNull() ? std::string() : maskedText(readableJson(metadata));
  value["announced"] = Json::UInt64(record.announcedSize);
  value["received"] = Json::UInt64(record.receivedSize);
  value["sha256"] = record.sha256;
  value["chunks"] = Json::UInt64(record.chunks.size());
  value["state"] = record.complete ? "complete" : "waiting";
  return value;
}

void addArrival(Json::Value& value, const ArrivalState& arrival) {
  const bool isComplete = value["state"] == "complete";
  const bool runs = arrival.silent < longestPause;
  value["service"] = arrival.service;
  value["time"] = milliseconds(arrival.begun);
  value["lasted"] = Json::Int64(arrival.lasted.count());
  value["curve"] = curveJson(arrival.curve);
  if (!isComplete) {
    value["received"] = Json::UInt64(arrival.position);
    if (value["announced"].asUInt64() == 0) value["announced"] = Json::UInt64(arrival.announced);
    if (runs) value["state"] = "running";
  }
  if (isComplete && arrival.isKept) value["type"] = mediaTypeOf(arrival.start);
}

}  // namespace

std::string mediaTypeOf(std::string_view start) {
  constexpr std::size_t boxName = 4;
  if (start.size() >= 2 * boxName && start.substr(boxName, boxName) == "ftyp") return "video/mp4";
  if (start.starts_with("\x1A\x45\xDF\xA3")) return "video/webm";
  if (start.starts_with("\xFF\xD8\xFF")) return "image/jpeg";
  return "application/octet-stream";
}

std::vector<Json::Value> uploadsJson(const ServiceContext& context) {
  const std::vector<User> users = context.accounts.users();
  std::vector<Json::Value> list;
  for (const UploadRecord& record : context.uploads.latest(shownUploads))
    list.push_back(jsonOf(record, users));
  for (const ArrivalState& arrival : context.arrivals->all()) {
    const auto known = std::find_if(list.begin(), list.end(), [&](const Json::Value& upload) {
      return upload["id"] == arrival.uploadId;
    });
    const bool runs = arrival.silent < longestPause;
    if (known != list.end()) {
      addArrival(*known, arrival);
    } else if (!context.uploads.knows(arrival.uploadId)) {
      // A form whose record comes with its end; without one it was refused or broken off.
      Json::Value upload;
      upload["id"] = arrival.uploadId;
      upload["announced"] = 0;
      upload["state"] = runs ? "running" : "broken";
      addArrival(upload, arrival);
      list.push_back(upload);
    }
  }
  return list;
}

Json::Value settingJson(const ServiceContext& context) {
  const SandboxOptions usual;
  const SandboxOptions& options = context.options;
  Json::Value value;
  value["address"] = context.baseUrl;
  value["cloud_config"] = context.cloudConfigJson();
  value["script_services"] = context.scriptServicesJson();
  value["app_id"] = options.appId;
  value["app_redirect"] = options.appRedirect;
  // The usual secret is written in the manual; somebody's own is nothing for a page.
  value["app_secret"] =
      options.appSecret == usual.appSecret || options.appSecret.empty() ? options.appSecret : "***";
  value["fault_kinds"] = faultKinds();
  value["routes"] = Json::Value(Json::arrayValue);
  for (int number = 0; number < static_cast<int>(Route::inspection); ++number) {
    value["routes"].append(std::string(routeName(static_cast<Route>(number))));
  }
  value["routes"].append(std::string(routeName(Route::unknown)));
  return value;
}

Json::Value peopleJson(const ServiceContext& context) {
  const std::vector<User> users = context.accounts.users();
  const std::string chosen = context.accounts.chosenUser().openId;
  Json::Value value;
  value["users"] = Json::Value(Json::arrayValue);
  for (const User& user : users) {
    Json::Value person;
    person["open_id"] = user.openId;
    person["name"] = user.name;
    person["email"] = user.email;
    person["chosen"] = user.openId == chosen;
    value["users"].append(person);
  }
  Tokens application;
  std::map<std::pair<Platform, std::string>, std::map<TokenKind, Tokens>> held;
  for (const auto& [text, state] : context.accounts.liveTokens()) {
    if (state.kind == TokenKind::account) {
      application.add(text, state);
    } else {
      held[{state.platform, state.openId}][state.kind].add(text, state);
    }
  }
  value["application"] = jsonOf(application);
  value["signed_in"] = Json::Value(Json::arrayValue);
  for (auto& [whose, tokens] : held) {
    Json::Value login;
    login["platform"] = static_cast<int>(whose.first);
    login["platform_name"] = platformName(whose.first);
    login["open_id"] = whose.second;
    login["name"] = nameOf(users, whose.second);
    login["access"] = jsonOf(tokens[TokenKind::access]);
    login["refresh"] = jsonOf(tokens[TokenKind::refresh]);
    value["signed_in"].append(login);
  }
  return value;
}

Json::Value loginsJson(const ServiceContext& context) {
  const std::vector<User> users = context.accounts.users();
  Json::Value value;
  value["consent"] = nameOf(context.accounts.consent());
  value["pending"] = Json::Value(Json::arrayValue);
  value["decided"] = Json::Value(Json::arrayValue);
  const std::vector<LoginSession> sessions = context.accounts.sessions();
  for (auto session = sessions.rbegin(); session != sessions.rend(); ++session) {
    const bool isPending = session->decision == Decision::pending;
    if (!isPending && value["decided"].size() >= shownDecided) continue;
    value[isPending ? "pending" : "decided"].append(jsonOf(*session, users));
  }
  return value;
}

Json::Value faultsJson(const ServiceContext& context) {
  const std::vector<FaultBook::Order> orders = context.faults.orders();
  Json::Value list(Json::arrayValue);
  for (auto order = orders.rbegin(); order != orders.rend() && list.size() < shownOrders; ++order) {
    list.append(jsonOf(*order));
  }
  return list;
}

}  // namespace sandbox
