#include "options/Settings.h"

#include "options/Failure.h"
#include "options/ProxyUrl.h"
#include "options/Suggestion.h"

#include <algorithm>
#include <charconv>

namespace host {
namespace {

constexpr std::array<std::string_view, 5> yes{"true", "1", "yes", "on", "enable"};
constexpr std::array<std::string_view, 5> no{"false", "0", "no", "off", "disable"};

template <std::size_t count>
bool isOneOf(const std::string& value, const std::array<std::string_view, count>& words) {
  return std::find(words.begin(), words.end(), lowerCase(value)) != words.end();
}

int numberOf(const std::string& text) {
  int number = -1;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc() && end == text.data() + text.size() ? number : -1;
}

std::string troubleOfProxy(const std::string& url) {
  try {
    (void)parseProxyUrl(url);
    return {};
  } catch (const Failure& failure) {
    const std::string line = failure.what();
    return line.substr(line.find(": ") + 2);
  }
}

/// It names a folder, which no name may lead out of.
bool isProfileName(const std::string& name) {
  constexpr std::size_t longest = 64;
  return name.size() <= longest && !name.starts_with('-') &&
         std::all_of(name.begin(), name.end(), [](char c) {
           return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' ||
                  c == '_';
         });
}

}  // namespace

const Setting* findSetting(std::string_view key) {
  const auto* const found = std::find_if(allSettings.begin(), allSettings.end(),
                                         [key](const Setting& one) { return one.key == key; });
  return found == allSettings.end() ? nullptr : found;
}

std::vector<std::string> settingKeys() {
  std::vector<std::string> keys;
  for (const Setting& setting : allSettings) keys.emplace_back(setting.key);
  return keys;
}

std::string variableOf(std::string_view key) {
  std::string name(key);
  for (char& c : name) c = c == '-' ? '_' : static_cast<char>(c >= 'a' && c <= 'z' ? c - 'a' + 'A' : c);
  return "MEDIATRANSFER_" + name;
}

std::string troubleOfValue(const Setting& setting, const std::string& value) {
  if (value.find_first_of("\r\n") != std::string::npos) return "give a text of one line";
  switch (setting.kind) {
    case Setting::Kind::flag:
      return isOneOf(value, yes) || isOneOf(value, no) ? "" : "give true or false";
    case Setting::Kind::count:
      return numberOf(value) >= 0 || isOneOf(value, yes) || isOneOf(value, no) ? "" : "give 0, 1 or 2";
    case Setting::Kind::word:
    case Setting::Kind::text:
    case Setting::Kind::path:
    case Setting::Kind::secret:
      break;
  }
  if (setting.key == "consent" && value != "auto" && value != "ask") return "give auto or ask";
  if (setting.key == "profile" && !isProfileName(value)) {
    return "the name of a profile has letters (a to z), digits, '-' and '_' alone, 64 at most, and no '-' at "
           "its beginning";
  }
  return setting.key == "proxy" ? troubleOfProxy(value) : std::string();
}

bool flagOf(const std::string& value) {
  return isOneOf(value, yes);
}

int countOf(const std::string& value) {
  return numberOf(value) >= 0 ? numberOf(value) : isOneOf(value, yes) ? 1 : 0;
}

std::string shownValue(const SettingValue& value) {
  const Setting* const setting = findSetting(value.key);
  const bool isSecret = setting != nullptr && setting->kind == Setting::Kind::secret;
  if (isSecret && !value.value.empty() && !value.value.starts_with('@')) return "***";
  if (value.key != "proxy") return value.value;
  // One that cannot be used, without a scheme, may have a password all the same.
  const std::size_t scheme = value.value.find("://");
  const std::size_t begin = scheme == value.value.find(':') && scheme != std::string::npos ? scheme + 3 : 0;
  const std::size_t end = value.value.rfind('@');
  const std::size_t colon = value.value.find(':', begin);
  if (end == std::string::npos || colon > end) return value.value;
  return value.value.substr(0, colon + 1) + "***" + value.value.substr(end);
}

}  // namespace host
