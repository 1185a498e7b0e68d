#include "sandbox/services/inspection/Inspection.h"

#include "sandbox/base/JsonText.h"
#include "sandbox/services/SameOrigin.h"
#include "sandbox/services/inspection/FaultJson.h"

#include <algorithm>

namespace sandbox {

namespace {

Reply json(const Json::Value& value, int status = 200) {
  Reply reply;
  reply.status = status;
  reply.body = compactJson(value) + "\n";
  return reply;
}

Reply refusal(const std::string& message, int status = 400) {
  Json::Value value;
  value["error"] = message;
  return json(value, status);
}

Reply done() {
  return json(Json::Value(Json::objectValue));
}

Json::Value objectOf(const Call& call) {
  const Json::Value value = parseJson(call.body).value_or(Json::Value(Json::objectValue));
  return value.isObject() ? value : Json::Value(Json::objectValue);
}

Json::Value fieldList(const std::vector<std::pair<std::string, std::string>>& fields) {
  Json::Value list(Json::arrayValue);
  for (const auto& [name, value] : fields) {
    Json::Value pair(Json::arrayValue);
    pair.append(name);
    pair.append(value);
    list.append(pair);
  }
  return list;
}

std::optional<Consent> consentFromName(const std::string& name) {
  if (name == "auto") return Consent::automatic;
  if (name == "ask") return Consent::ask;
  if (name == "deny") return Consent::deny;
  return name == "never" ? std::optional(Consent::never) : std::nullopt;
}

}  // namespace

void Inspection::addTo(Router& router) {
  const auto get = [&](const char* path, Handler handler) {
    router.add({Route::inspection, "GET", path, forSameOrigin(std::move(handler))});
  };
  const auto post = [&](const char* path, Handler handler) {
    router.add({Route::inspection, "POST", path, forSameOrigin(std::move(handler))});
  };
  get("/sandbox/config", [this](Call&) {
    Reply reply;
    reply.body = context_.cloudConfigJson();
    return reply;
  });
  get("/sandbox/services", [this](Call&) {
    Reply reply;
    reply.body = context_.scriptServicesJson();
    return reply;
  });
  get("/sandbox/uploads", [this](Call&) { return uploads(); });
  get("/sandbox/requests", [this](Call& call) { return requests(call); });
  get("/sandbox/users", [this](Call&) { return users(); });
  post("/sandbox/users/choose", [this](Call& call) { return chooseUser(call); });
  get("/sandbox/logins", [this](Call&) { return logins(); });
  get("/sandbox/faults", [this](Call&) { return faults(); });
  post("/sandbox/faults", [this](Call& call) { return orderFault(call); });
  post("/sandbox/faults/release", [this](Call&) {
    context_.faults.releaseStalls();
    return done();
  });
  post("/sandbox/faults/clear", [this](Call& call) { return clearFaults(call); });
  post("/sandbox/consent", [this](Call& call) { return setConsent(call); });
  post("/sandbox/logins/decide", [this](Call& call) { return decideLogin(call); });
  post("/sandbox/tokens/expire", [this](Call& call) { return expireTokens(call); });
  post("/sandbox/tokens/end", [this](Call& call) { return endTokens(call); });
}

Reply Inspection::uploads() const {
  Json::Value list(Json::arrayValue);
  for (const UploadRecord& upload : context_.uploads.all()) list.append(jsonOf(upload));
  return json(list);
}

Reply Inspection::requests(const Call& call) const {
  const std::string wanted = call.request.parameter("route").value_or("");
  Json::Value list(Json::arrayValue);
  for (const RecordedRequest& request : context_.log.all()) {
    if (!wanted.empty() && wanted != routeName(request.route)) continue;
    Json::Value value;
    value["serial"] = Json::UInt64(request.serial);
    value["connection"] = Json::UInt64(request.connection);
    value["milliseconds"] = Json::Int64(
        std::chrono::duration_cast<std::chrono::milliseconds>(request.time.time_since_epoch()).count());
    value["route"] = std::string(routeName(request.route));
    value["method"] = request.method;
    value["target"] = request.target;
    value["headers"] = fieldList(request.headers);
    value["body_size"] = Json::UInt64(request.bodySize);
    value["status"] = request.status;
    if (request.fault) value["fault"] = Json::UInt64(*request.fault);
    list.append(value);
  }
  return json(list);
}

Reply Inspection::users() const {
  const std::string chosen = context_.accounts.chosenUser().openId;
  Json::Value list(Json::arrayValue);
  for (const User& user : context_.accounts.users()) {
    Json::Value value;
    value["open_id"] = user.openId;
    value["name"] = user.name;
    value["email"] = user.email;
    value["chosen"] = user.openId == chosen;
    list.append(value);
  }
  return json(list);
}

Reply Inspection::chooseUser(const Call& call) {
  const bool known = context_.accounts.chooseUser(textMember(objectOf(call), "open_id").value_or(""));
  return known ? done() : refusal("unknown open_id");
}

Reply Inspection::logins() const {
  Json::Value list(Json::arrayValue);
  for (const LoginSession& session : context_.accounts.sessions()) {
    Json::Value value;
    value["session_id"] = session.id;
    value["platform"] = static_cast<int>(session.platform);
    value["open_url"] = session.openUrl;
    value["polls"] = session.polls;
    value["decision"] = decisionName(session.decision);
    value["open_id"] = session.openId;
    list.append(value);
  }
  return json(list);
}

Reply Inspection::faults() const {
  Json::Value list(Json::arrayValue);
  for (const FaultBook::Order& order : context_.faults.orders()) list.append(jsonOf(order));
  return json(list);
}

Reply Inspection::orderFault(const Call& call) {
  const Json::Value body = objectOf(call);
  const std::optional<Route> route = routeFromName(textMember(body, "route").value_or(""));
  const std::optional<Fault> fault = faultFromJson(body);
  const long long nth = integerMember(body, "nth").value_or(1);
  const long long times = integerMember(body, "times").value_or(1);
  if (!route || *route == Route::inspection) return refusal("unknown route");
  if (!fault) return refusal("unknown kind, or a member of the wrong type");
  if (const std::string mistake = mistakeIn(*fault, *route); !mistake.empty()) return refusal(mistake);
  if (nth < 1 || nth > 1'000'000 || times < 0 || times > 1'000'000)
    return refusal("nth or times out of range");
  Json::Value value;
  value["id"] = Json::UInt64(
      context_.faults.order(*route, *fault, static_cast<unsigned>(nth), static_cast<unsigned>(times)));
  return json(value);
}

/// One order, or all without an id.
Reply Inspection::clearFaults(const Call& call) {
  const Json::Value body = objectOf(call);
  if (!body.isMember("id")) {
    context_.faults.withdrawAll();
    return done();
  }
  const long long id = integerMember(body, "id").value_or(0);
  const bool known = id > 0 && context_.faults.withdraw(static_cast<FaultId>(id));
  return known ? done() : refusal("unknown id");
}

Reply Inspection::decideLogin(const Call& call) {
  const Json::Value body = objectOf(call);
  const std::string decision = textMember(body, "decision").value_or("");
  if (decision != "allow" && decision != "deny") return refusal("decision is \"allow\" or \"deny\"");
  const bool decided =
      context_.accounts.decide(textMember(body, "session_id").value_or(""), decision == "allow",
                               textMember(body, "open_id").value_or(""));
  return decided ? done() : refusal("unknown session_id or open_id, or the login is decided");
}

Reply Inspection::setConsent(const Call& call) {
  const Json::Value body = objectOf(call);
  const std::optional<Consent> mode = consentFromName(textMember(body, "mode").value_or(""));
  if (!mode) return refusal("mode is \"auto\", \"ask\", \"deny\" or \"never\"");
  const long long polls = integerMember(body, "polls").value_or(0);
  context_.accounts.setConsent(*mode);
  context_.accounts.setPollsBeforeConsent(static_cast<unsigned>(std::clamp(polls, 0LL, 1'000'000LL)));
  return done();
}

Reply Inspection::expireTokens(const Call& call) {
  // Another process may have issued some of them.
  context_.state.load();
  context_.accounts.expire(TokenKind::access, textMember(objectOf(call), "open_id").value_or(""));
  context_.state.save();
  return done();
}

/// Of an application ("account"), or of a user at a platform: the access tokens, or the refresh tokens as
/// well.
Reply Inspection::endTokens(const Call& call) {
  const Json::Value body = objectOf(call);
  const std::string kind = textMember(body, "kind").value_or("");
  const std::optional<long long> number = integerMember(body, "platform");
  const std::string openId = textMember(body, "open_id").value_or("");
  if (kind != "account" && kind != "access" && kind != "all") {
    return refusal("kind is \"account\", \"access\" or \"all\"");
  }
  const bool hasPlatform = number && !platformName(static_cast<Platform>(*number)).empty();
  if (kind != "account" && (!hasPlatform || !context_.knowsUser(openId))) {
    return refusal("unknown platform or open_id");
  }
  // Another process may have issued some of them.
  context_.state.load();
  if (kind == "account") context_.accounts.expire(TokenKind::account, {});
  if (kind == "access") context_.accounts.expireAt(static_cast<Platform>(*number), openId);
  if (kind == "all") context_.accounts.revokeAt(static_cast<Platform>(*number), openId);
  context_.state.save();
  return done();
}

}  // namespace sandbox
