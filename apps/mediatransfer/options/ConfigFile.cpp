#include "options/ConfigFile.h"

#include "options/Failure.h"
#include "options/Settings.h"
#include "options/Suggestion.h"
#include "system/Files.h"
#include "system/Utf8Path.h"
#include <KblUtils/FileUtil.h>
#include <KblUtils/Path.h>

#include <algorithm>
#include <filesystem>
#include <sstream>
#include <system_error>
#include <utility>

namespace host {
namespace {

constexpr std::uint64_t sizeLimit = std::uint64_t{1} << 20;

std::string trimmed(const std::string& text) {
  constexpr const char* blanks = " \t\r";
  const std::size_t begin = text.find_first_not_of(blanks);
  if (begin == std::string::npos) return {};
  return text.substr(begin, text.find_last_not_of(blanks) + 1 - begin);
}

/// A link of somebody who keeps the file elsewhere stays one.
std::string targetOf(const std::string& path) {
  std::error_code error;
  const std::filesystem::path target = std::filesystem::canonical(pathFromUtf8(path), error);
  return error ? path : utf8FromPath(target);
}

}  // namespace

std::string configPath(const std::string& folder, const std::string& profile) {
  return profile.empty() ? folder + "/config" : folder + "/profiles/" + profile;
}

ConfigFile::ConfigFile(std::string path) : path_(std::move(path)) {
  std::error_code error;
  if (!std::filesystem::exists(pathFromUtf8(path_), error) && !error) return;
  if (!std::filesystem::is_regular_file(pathFromUtf8(path_), error) || !opensForReading(path_) ||
      KBL::FileUtil::size(KBL::Path(path_)) > sizeLimit) {
    isReadable_ = false;
    trouble_ = "the configuration '" + path_ + "' cannot be read; check its rights, or take it away";
    return;
  }
  std::istringstream text(contentsOf(path_));
  std::string line;
  for (std::size_t number = 1; std::getline(text, line); ++number) {
    if (line.ends_with('\r')) line.pop_back();
    lines_.push_back(lineOf(line));
    check(lines_.back(), number);
  }
}

ConfigFile::Line ConfigFile::lineOf(const std::string& text) {
  Line line{text, {}, {}, false};
  const std::string content = trimmed(text);
  if (content.empty() || content.starts_with('#')) return line;
  const std::size_t mark = content.find('=');
  line.key = trimmed(content.substr(0, mark));
  if (mark != std::string::npos) line.value = trimmed(content.substr(mark + 1));
  return line;
}

void ConfigFile::check(Line& line, std::size_t number) {
  const bool isBlank = trimmed(line.text).empty() || trimmed(line.text).starts_with('#');
  if (isBlank) return;
  const Setting* const setting = findSetting(line.key);
  // What stands in a line that is none of ours may be a secret.
  std::string reason;
  if (line.key.empty() || line.value.empty() || line.key.find_first_of(" \t:") != std::string::npos) {
    reason = "is not KEY = VALUE; mend or remove it";
  } else if (setting == nullptr) {
    reason = "has the unknown key '" + line.key.substr(0, 64) + "'" + didYouMean(line.key, settingKeys()) +
             "; mend or remove it";
  } else if (const std::string wanted = troubleOfValue(*setting, line.value); !wanted.empty()) {
    reason = "has no good value for " + line.key + "; " + wanted;
  }
  line.isUsable = reason.empty();
  if (trouble_.empty() && !line.isUsable) {
    trouble_ = "line " + std::to_string(number) + " of the configuration '" + path_ + "' " + reason;
  }
}

std::optional<std::string> ConfigFile::value(std::string_view key) const {
  const auto last = std::find_if(lines_.rbegin(), lines_.rend(),
                                 [key](const Line& line) { return line.isUsable && line.key == key; });
  if (last == lines_.rend()) return std::nullopt;
  return last->value;
}

void ConfigFile::set(std::string_view key, const std::string& value) {
  const std::string name(key);
  const Line line{name + " = " + value, name, value, true};
  const auto place =
      std::find_if(lines_.begin(), lines_.end(), [&](const Line& one) { return one.key == name; });
  if (place == lines_.end()) {
    lines_.push_back(line);
    return;
  }
  *place = line;
  lines_.erase(std::remove_if(place + 1, lines_.end(), [&](const Line& one) { return one.key == name; }),
               lines_.end());
}

bool ConfigFile::unset(std::string_view key) {
  return std::erase_if(lines_, [key](const Line& line) { return line.key == key; }) > 0;
}

void ConfigFile::save() const {
  if (!isReadable_) throw Failure(Cause::file, trouble_);
  std::string text;
  for (const Line& line : lines_) text += line.text + "\n";
  const KBL::Path folder(utf8FromPath(pathFromUtf8(path_).parent_path()));
  if (KBL::FileUtil::makePrivateDirectory(folder) &&
      KBL::FileUtil::writePrivateFile(KBL::Path(targetOf(path_)), text)) {
    return;
  }
  throw Failure(Cause::file, "the configuration '" + path_ +
                                 "' cannot be written; check the rights of its folder and the room on its "
                                 "disk");
}

}  // namespace host
