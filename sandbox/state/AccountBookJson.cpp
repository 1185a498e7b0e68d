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

std::vector<StateTable> AccountBook::tables() {
  return {{"users", [this] { return takeUsers(); },
           [this](const std::vector<StateRow>& rows) { putBack(unsavedUsers_, rows); },
           [this](const StateRow& row) { return mergeUser(row); }},
          {"tokens", [this] { return takeTokens(); },
           [this](const std::vector<StateRow>& rows) { putBack(unsavedTokens_, rows); },
           [this](const StateRow& row) { return mergeToken(row); }}};
}

std::vector<StateRow> AccountBook::takeUsers() {
  const std::lock_guard lock(mutex_);
  std::vector<StateRow> rows;
  for (const std::string& openId : std::exchange(unsavedUsers_, {})) {
    if (const User* const user = find(openId)) rows.push_back({openId, jsonOf(*user)});
  }
  return rows;
}

std::vector<StateRow> AccountBook::takeTokens() {
  const std::lock_guard lock(mutex_);
  std::vector<StateRow> rows;
  for (const std::string& text : std::exchange(unsavedTokens_, {})) {
    const auto found = tokens_.find(text);
    if (found != tokens_.end()) rows.push_back({text, jsonOf(found->second)});
  }
  return rows;
}

void AccountBook::putBack(std::set<std::string>& unsaved, const std::vector<StateRow>& rows) {
  const std::lock_guard lock(mutex_);
  for (const StateRow& row : rows) unsaved.insert(row.id);
}

/// The one who wrote last is right, and that is this process while it has something to write.
bool AccountBook::mergeUser(const StateRow& row) {
  const std::lock_guard lock(mutex_);
  if (unsavedUsers_.contains(row.id)) return true;
  const auto known =
      std::find_if(users_.begin(), users_.end(), [&](const User& user) { return user.openId == row.id; });
  User user = userFrom(row.record);
  user.openId = row.id;
  known == users_.end() ? users_.push_back(std::move(user)) : void(*known = std::move(user));
  return true;
}

/// A token never gets better.
bool AccountBook::mergeToken(const StateRow& row) {
  const std::lock_guard lock(mutex_);
  TokenState state = tokenFrom(row.record);
  if (state.revoked && state.expiry == Clock::time_point::max()) {
    // Of a version that did not say when.
    state.expiry = Clock::now();
    keep(row.id);
  }
  if (isForgotten(state)) return false;
  const auto [entry, fresh] = tokens_.try_emplace(row.id, state);
  if (fresh) return true;
  entry->second.revoked = entry->second.revoked || state.revoked;
  entry->second.expiry = std::min(entry->second.expiry, state.expiry);
  return true;
}

}  // namespace sandbox
