#pragma once

#include <array>
#include <string>
#include <string_view>
#include <vector>

namespace host {

/// An option that every command takes, and that the environment or a configuration file may give as well.
struct Setting {
  enum class Kind {
    flag,
    count,
    word,
    text,
    path,
    secret  ///< or "@FILE"
  };
  std::string_view key;  ///< behind "--"
  Kind kind;
};

inline constexpr std::array<Setting, 14> allSettings{{
    {"sandbox", Setting::Kind::flag},
    {"consent", Setting::Kind::word},
    {"cloud-config", Setting::Kind::path},
    {"cache-dir", Setting::Kind::path},
    {"profile", Setting::Kind::word},
    {"proxy", Setting::Kind::text},
    {"json", Setting::Kind::flag},
    {"quiet", Setting::Kind::flag},
    {"log", Setting::Kind::path},
    {"verbose", Setting::Kind::count},
    {"app-id", Setting::Kind::text},
    {"app-secret", Setting::Kind::secret},
    {"app-redirect", Setting::Kind::text},
    {"python-home", Setting::Kind::path},
}};

/// Where a setting's value comes from; what comes first goes before the rest.
enum class SettingSource { commandLine, environment, profileFile, generalFile, nowhere };

struct SettingValue {
  std::string_view key;
  std::string value;  ///< as it was written
  SettingSource source = SettingSource::nowhere;
  std::string place;  ///< the variable or the file
};

/// Null for a key that is none of these.
[[nodiscard]] const Setting* findSetting(std::string_view key);
[[nodiscard]] std::vector<std::string> settingKeys();

/// "MEDIATRANSFER_CACHE_DIR" for "cache-dir".
[[nodiscard]] std::string variableOf(std::string_view key);

/// What has to be given in the place of this value; empty for one that the setting takes.
[[nodiscard]] std::string troubleOfValue(const Setting& setting, const std::string& value);

// For values that the setting takes.
[[nodiscard]] bool flagOf(const std::string& value);
[[nodiscard]] int countOf(const std::string& value);

/// The value for people's eyes: without an application's secret and a proxy's password.
[[nodiscard]] std::string shownValue(const SettingValue& value);

}  // namespace host
