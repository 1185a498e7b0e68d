// How the account book is kept between processes.
#include "sandbox/base/JsonText.h"
#include "sandbox/state/AccountBook.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

namespace sandbox {

namespace {

using Clock = std::chrono::system_clock;

constexpr std::array<std::pair<TokenKind, std::string_view>, 3> kinds{
    {{TokenKind::account, "account"}, {TokenKind::access, "access"}, {TokenKind::refresh, "refresh"}}};
/// A token that ended so long ago is of no interest to anybody.
constexpr std::chrono::hours forgetAfter{24};

long long secondsOf(Clock::time_point time) {
  return std::chrono::duration_cast<std::chrono::seconds>(time.time_since_epoch()).count();
}

/// The latest time reads as 0: a refresh token has no end.
Clock::time_point timeOf(long long seconds) {
  return seconds <= 0 ? Clock::time_point::max() : Clock::time_point(std::chrono::seconds(seconds));
}

Json::Value jsonOf(const User& user) {
  Json::Value value;
  value["open_id"] = user.openId;
  value["email"] = user.email;
  value["name"] = user.name;
  value["given_name"] = user.givenName;
  value["family_name"] = user.familyName;
  value["locale"] = user.locale;
  return value;
}

User userFrom(const Json::Value& value) {
  const auto text = [&](const char* name) { return textMember(value, name).value_or(""); };
  return {text("open_id"),    text("email"),       text("name"),
          text("given_name"), text("family_name"), text("locale")};
}

Json::Value jsonOf(const TokenState& state) {
  Json::Value value;
  for (const auto& [kind, name] : kinds) {
    if (kind == state.kind) value["kind"] = std::string(name);
  }
  value["platform"] = static_cast<int>(state.platform);
  value["open_id"] = state.openId;
  value["expiry"] = state.expiry == Clock::time_point::max() ? 0 : Json::Int64(secondsOf(state.expiry));
  value["revoked"] = state.revoked;
  return value;
}

TokenState tokenFrom(const Json::Value& value) {
  TokenState state;
  const std::string kindName = textMember(value, "kind").value_or("");
  for (const auto& [kind, name] : kinds) {
    if (name == kindName) state.kind = kind;
  }
  const long long platform = integerMember(value, "platform").value_or(0);
  if (platform >= 0 && platform <= static_cast<int>(Platform::twitch))
    state.platform = static_cast<Platform>(platform);
  state.openId = textMember(value, "open_id").value_or("");
  state.expiry = timeOf(integerMember(value, "expiry").value_or(1));
  state.revoked = !value["revoked"].isBool() || value["revoked"].asBool();
  return state;
}

bool isForgotten(const TokenState& state) {
  if (state.expiry == Clock::time_point::max()) return false;
  return state.expiry + forgetAfter < Clock::now();
}

}  // namespace

Json::Value AccountBook::kept() const {
  const std::lock_guard lock(mutex_);
  Json::Value value(Json::objectValue);
  value["users"] = Json::Value(Json::objectValue);
  value["tokens"] = Json::Value(Json::objectValue);
  for (const User& user : users_) value["users"][user.openId] = jsonOf(user);
  for (const auto& [text, state] : tokens_) {
    if (!isForgotten(state)) value["tokens"][text] = jsonOf(state);
  }
  return value;
}

void AccountBook::merge(const Json::Value& kept) {
  if (!kept.isObject()) return;
  const std::lock_guard lock(mutex_);
  if (kept["users"].isObject()) {
    for (const std::string& openId : kept["users"].getMemberNames()) {
      const Json::Value& user = kept["users"][openId];
      if (user.isObject() && !find(openId)) users_.push_back(userFrom(user));
    }
  }
  if (!kept["tokens"].isObject()) return;
  for (const std::string& text : kept["tokens"].getMemberNames()) {
    if (!kept["tokens"][text].isObject()) continue;
    const TokenState state = tokenFrom(kept["tokens"][text]);
    if (isForgotten(state)) continue;
    const auto [entry, fresh] = tokens_.try_emplace(text, state);
    if (fresh) continue;
    entry->second.revoked = entry->second.revoked || state.revoked;
    entry->second.expiry = std::min(entry->second.expiry, state.expiry);
  }
}

}  // namespace sandbox
