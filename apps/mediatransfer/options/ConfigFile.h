#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace host {

/// The configuration file of all profiles in `folder`, or of the one of that name. Both are UTF-8.
[[nodiscard]] std::string configPath(const std::string& folder, const std::string& profile);

/// A configuration file: lines "KEY = VALUE", of which the last of a key holds; empty lines and those that
/// begin with "#" stay as they are.
class ConfigFile {
 public:
  /// Reads the file; one that is not there is empty.
  explicit ConfigFile(std::string path);

  [[nodiscard]] const std::string& path() const { return path_; }
  /// Why the file cannot be used as it is, in one line that says what to do; empty when it can.
  [[nodiscard]] const std::string& trouble() const { return trouble_; }

  /// The value of the key, where it is one that the setting takes.
  [[nodiscard]] std::optional<std::string> value(std::string_view key) const;

  void set(std::string_view key, const std::string& value);
  /// False when no line has the key.
  bool unset(std::string_view key);
  /// Replaces the file as a whole, for its owner only. Throws Failure when that fails.
  void save() const;

 private:
  struct Line {
    std::string text;
    std::string key;  ///< empty: none
    std::string value;
    bool isUsable = false;
  };
  static Line lineOf(const std::string& text);
  void check(Line& line, std::size_t number);

  std::string path_;
  std::string trouble_;
  bool isReadable_ = true;
  std::vector<Line> lines_;
};

}  // namespace host
