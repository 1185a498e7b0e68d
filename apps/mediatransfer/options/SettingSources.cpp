#include "options/SettingSources.h"

#include <KblUtils/Process.h>

namespace host {

SettingSources::SettingSources(const std::string& folder) : folder_(folder) {
  if (!folder_.empty()) general_.emplace(configPath(folder_, ""));
}

void SettingSources::chooseProfile(const std::string& profile) {
  if (!folder_.empty() && !profile.empty()) own_.emplace(configPath(folder_, profile));
}

SettingValue SettingSources::find(const Setting& setting) const {
  const std::string variable = variableOf(setting.key);
  if (std::string value = KBL::Environment::variable(variable.c_str()); !value.empty()) {
    return {setting.key, std::move(value), SettingSource::environment, variable};
  }
  if (own_ && own_->value(setting.key)) {
    return {setting.key, *own_->value(setting.key), SettingSource::profileFile, own_->path()};
  }
  if (general_ && general_->value(setting.key)) {
    return {setting.key, *general_->value(setting.key), SettingSource::generalFile, general_->path()};
  }
  return {setting.key, {}, SettingSource::nowhere, {}};
}

std::string SettingSources::trouble() const {
  if (general_ && !general_->trouble().empty()) return general_->trouble();
  return own_ ? own_->trouble() : std::string();
}

}  // namespace host
