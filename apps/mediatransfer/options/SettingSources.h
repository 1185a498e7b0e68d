#pragma once

#include "options/ConfigFile.h"
#include "options/Settings.h"

#include <optional>
#include <string>

namespace host {

/// Where settings come from that the command line does not give: the environment, the profile's file, the
/// general one, in this order.
class SettingSources {
 public:
  /// `folder` has the configuration files; empty: there are none.
  explicit SettingSources(const std::string& folder);

  /// From here on the profile's file counts, too; an empty name is the profile without one.
  void chooseProfile(const std::string& profile);

  [[nodiscard]] SettingValue find(const Setting& setting) const;
  /// Why one of the files cannot be used; empty when all can.
  [[nodiscard]] std::string trouble() const;

 private:
  std::string folder_;
  std::optional<ConfigFile> general_;
  std::optional<ConfigFile> own_;
};

}  // namespace host
