#pragma once

#include "options/Options.h"

#include <CLI/CLI.hpp>
#include <map>
#include <string>
#include <vector>

namespace host {

/// An option that every command takes, with the one place that its value goes to.
struct SharedOption {
  const Setting* setting;
  CLI::Option* option;
  bool* flag;
  int* count;
  std::string* text;

  void assign(const std::string& value) const {
    if (flag != nullptr) *flag = flagOf(value);
    if (count != nullptr) *count = countOf(value);
    if (text != nullptr) *text = value;
  }
  /// As the command line gave it.
  [[nodiscard]] std::string given() const {
    if (flag != nullptr) return *flag ? "true" : "false";
    return count != nullptr ? std::to_string(*count) : *text;
  }
};

/// What arguments and options take one of a few words for, as it was given.
struct GivenWords {
  std::string consent;
  std::string platform;
  std::string service;
  std::string shell;
  std::string configAction;
};

/// All commands, arguments and options of the program, each with the place that its value goes to.
class Declarations {
 public:
  /// What is parsed goes to `options` and `words`, which outlive the declarations.
  Declarations(Options& options, GivenWords& words);

  [[nodiscard]] CLI::App& app() { return app_; }
  [[nodiscard]] const CLI::App& app() const { return app_; }
  /// The options that every command takes.
  [[nodiscard]] const std::vector<SharedOption>& shared() const { return shared_; }
  /// The words that options and arguments take.
  [[nodiscard]] const std::map<const CLI::Option*, std::vector<std::string>>& choices() const {
    return choices_;
  }

 private:
  void addSharedOptions();
  static const Setting* settingOf(const std::string& names);
  void addFlag(const std::string& names, bool& value, const std::string& description);
  CLI::Option* addText(const std::string& name, std::string& value, const std::string& kind,
                       const std::string& description);
  CLI::App* addCommand(Command command, const std::string& name, const std::string& description);
  CLI::App* addPlatformCommand(Command command, const std::string& name, const std::string& description);
  void addUser(CLI::App& sub);
  void addLogin();
  void addVerify();
  CLI::App& addUserCommand(Command command, const std::string& name, const std::string& description);
  // Logins of the two ways are kept apart.
  void addWay(CLI::App& sub);
  void addUpload();
  void addToken(CLI::App& sub);
  void addService(CLI::App& sub, const std::vector<std::string>& names);
  void addAlbums();
  void addMedia();
  void addAlbumDownload(CLI::App& sub);
  void addDownload();
  void addSandbox();
  void addConfig();
  void addCompletion();

  CLI::App app_{"Sign in to media platforms, upload videos, list and download media.", "mediatransfer"};
  Options& options_;
  GivenWords& words_;
  std::vector<SharedOption> shared_;
  std::map<const CLI::Option*, std::vector<std::string>> choices_;
};

}  // namespace host
