#include "commands/Commands.h"
#include "host/Interrupt.h"
#include "options/ConfigFile.h"
#include "options/Failure.h"
#include "options/Suggestion.h"
#include "system/StandardInput.h"
#include <KblUtils/Path.h>

#include <algorithm>
#include <chrono>
#include <string>
#include <string_view>

namespace host {
namespace {

const Setting& requiredSetting(const Options& options) {
  std::string key = lowerCase(options.configKey);
  key.erase(0, std::min(key.find_first_not_of('-'), key.size()));
  if (const Setting* const setting = findSetting(key)) return *setting;
  throw Failure(Exit::wrongUse, "unknown key '" + options.configKey + "'" + didYouMean(key, settingKeys()) +
                                    "; 'mediatransfer config list' shows all keys");
}

/// The profile that a file is changed for: the general file's own word for it does not count, or that file
/// could never be changed again.
std::string profileOfFile(const Options& options) {
  for (const SettingValue& value : options.settings) {
    if (value.key == "profile" && value.source > SettingSource::environment) return {};
  }
  return options.profile;
}

ConfigFile openedFile(const Options& options) {
  if (!options.configFolder.empty())
    return ConfigFile(configPath(options.configFolder, profileOfFile(options)));
  throw Failure(Exit::wrongUse, "no home folder is known to keep a configuration in; set HOME");
}

/// As it is found from every folder.
std::string absolutePath(const std::string& path) {
  return KBL::PathUtil::absolute(KBL::Path(path)).string();
}

/// What people type or another program gives; empty without any. Ctrl-C is heard meanwhile.
std::string lineOfInput() {
  constexpr std::chrono::milliseconds slice(100);
  StandardInput input;
  std::string line;
  while (input.next(line, slice) == StandardInput::State::nothing) {
    if (interrupted()) throw Failure(Exit::interrupted, "stopped while the value was waited for");
  }
  return line;
}

std::string newValue(const Setting& setting, const Options& options) {
  std::string value = options.configValue;
  // What stands on a command line is seen by other users of the machine.
  if (value == "-") value = lineOfInput();
  if (value.empty()) throw Failure(Exit::wrongUse, "the value is empty; give one, or use config unset");
  constexpr std::string_view blanks = " \t";
  if (blanks.find(value.front()) != blanks.npos || blanks.find(value.back()) != blanks.npos) {
    throw Failure(Exit::wrongUse, "the value begins or ends with a blank; give it without");
  }
  const std::string trouble = troubleOfValue(setting, value);
  if (!trouble.empty()) throw Failure(Exit::wrongUse, std::string(setting.key) + ": " + trouble);
  if (setting.kind == Setting::Kind::path) return absolutePath(value);
  if (setting.kind == Setting::Kind::secret && value.size() > 1 && value.front() == '@') {
    return "@" + absolutePath(value.substr(1));
  }
  return value;
}

int set(const Options& options, Report& report) {
  const Setting& setting = requiredSetting(options);
  ConfigFile file = openedFile(options);
  if (setting.key == "profile" && !profileOfFile(options).empty()) {
    throw Failure(Exit::wrongUse, "a profile cannot name another one; leave out --profile");
  }
  file.set(setting.key, newValue(setting, options));
  file.save();
  report.note(std::string(setting.key) + " is kept in " + file.path());
  return Exit::done;
}

int unset(const Options& options, Report& report) {
  ConfigFile file = openedFile(options);
  // Also what is no key at all, so that a line nobody knows can be taken out.
  const bool isOurs = findSetting(lowerCase(options.configKey)) != nullptr;
  const std::string key = isOurs ? lowerCase(options.configKey) : options.configKey;
  if (!file.unset(key)) {
    const Setting& setting = requiredSetting(options);
    if (!file.unset(setting.key)) {
      report.note(std::string(setting.key) + " is not in " + file.path());
      return Exit::done;
    }
  }
  file.save();
  report.note(key + " is no longer in " + file.path());
  return Exit::done;
}

int show(const Options& options, Report& report) {
  const Setting* const wanted = options.configKey.empty() ? nullptr : &requiredSetting(options);
  for (const Setting& setting : allSettings) {
    if (wanted != nullptr && wanted->key != setting.key) continue;
    for (const SettingValue& value : options.settings) {
      if (value.key == setting.key) report.setting(value, wanted != nullptr);
    }
  }
  if (!options.configTrouble.empty()) throw Failure(Exit::wrongUse, options.configTrouble);
  return Exit::done;
}

}  // namespace

int runConfig(const Options& options, Report& report) {
  switch (options.configAction) {
    case ConfigAction::set:
      return set(options, report);
    case ConfigAction::unset:
      return unset(options, report);
    case ConfigAction::show:
      break;
  }
  return show(options, report);
}

}  // namespace host
