#include "options/CommandLine.h"

#include "options/ArgumentChecks.h"
#include "options/Choices.h"
#include "options/Complaints.h"
#include "options/Completion.h"
#include "options/Declarations.h"
#include "options/Description.h"
#include "options/Failure.h"
#include "options/HelpText.h"
#include "options/ManPage.h"
#include "options/Secrets.h"
#include "options/SettingSources.h"
#include "options/Suggestion.h"
#include "system/InstalledHome.h"
#include "system/Terminal.h"

#include <CLI/CLI.hpp>
#include <algorithm>

namespace host {
namespace {

bool takesPlatform(Command command) {
  switch (command) {
    case Command::login:
    case Command::verify:
    case Command::whoami:
    case Command::logout:
    case Command::upload:
      return true;
    case Command::albums:
    case Command::media:
    case Command::download:
    case Command::status:
    case Command::sandbox:
    case Command::config:
    case Command::doctor:
      break;
  }
  return false;
}

/// The parser, and the texts that it fills and that are checked afterwards.
class Parser {
 public:
  explicit Parser(const std::string& configFolder) : sources_(configFolder), declared_(options_, words_) {
    options_.configFolder = configFolder;
  }

  std::variant<Options, Help> parse(std::vector<std::string> arguments) {
    askForHelp(arguments);
    std::reverse(arguments.begin(), arguments.end());
    try {
      declared_.app().parse(arguments);
    } catch (const CLI::CallForHelp&) {
      return Help{helpOfCalledCommand()};
    } catch (const CLI::CallForVersion&) {
      return Help{declared_.app().version() + "\n"};
    } catch (const CLI::ParseError& error) {
      throw Failure(Exit::wrongUse, explain(declared_.app(), error) + "; see " + helpCall());
    }
    if (calledCommand(declared_.app()) == "completion") return Help{completion()};
    if (calledCommand(declared_.app()) == "manual") return Help{manPage(described())};
    check();
    return options_;
  }

 private:
  /// "help" and "help COMMAND" are what people try first.
  static void askForHelp(std::vector<std::string>& arguments) {
    if (arguments.empty() || arguments.front() != "help") return;
    arguments.erase(arguments.begin());
    arguments.resize(std::min<std::size_t>(arguments.size(), 1));
    arguments.emplace_back("--help");
  }

  std::string completion() {
    const std::string shell = lowerCase(words_.shell);
    const std::vector<std::string> shells(completionShells.begin(), completionShells.end());
    if (std::find(shells.begin(), shells.end(), shell) == shells.end()) {
      throw Failure(Exit::wrongUse, "no completion for the shell '" + words_.shell + "'" +
                                        didYouMean(shell, shells) + "; give " + choiceText(shells));
    }
    return completionScript(described(), shell);
  }

  [[nodiscard]] ProgramText described() const { return describe(declared_.app(), declared_.choices()); }

  [[nodiscard]] std::string helpCall() const {
    const std::string command = calledCommand(declared_.app());
    return "mediatransfer " + (command.empty() ? "" : command + " ") + "--help";
  }

  std::string helpOfCalledCommand() {
    constexpr int usualWidth = 80;
    const int width = outputIsTerminal() ? std::min(terminalWidth(), usualWidth) : usualWidth;
    return helpText(described(), calledCommand(declared_.app()), width);
  }

  void check() {
    takeSettings();
    chooseServers();
    options_.consentAsk =
        words_.consent == "ask" && (options_.sandbox || options_.command == Command::sandbox);
    if (sourceOf("consent") == SettingSource::commandLine && !options_.sandbox &&
        options_.command != Command::sandbox) {
      throw Failure(Exit::wrongUse, "--consent is for the stand-in servers; give --sandbox with it");
    }
    if (options_.command == Command::config) return checkAction(words_.configAction, options_);
    if (takesPlatform(options_.command)) checkPlatform(words_.platform, options_);
    if (options_.command == Command::albums || options_.command == Command::media) {
      checkService(words_.service, options_);
    }
    checkNameTemplate(options_.nameTemplate);
    takeSecret();
    if (options_.command == Command::sandbox) takeAcceptedApplication();
    options_.token = resolveSecret(options_.token, "--token");
    options_.secret = resolveSecret(options_.secret, "--secret");
  }

  /// What the command line does not give, from the environment and the configuration files.
  void takeSettings() {
    const auto profile =
        std::find_if(declared_.shared().begin(), declared_.shared().end(),
                     [](const SharedOption& shared) { return shared.setting->key == "profile"; });
    takeSetting(*profile);
    if (options_.profile == usualProfile) options_.profile.clear();
    sources_.chooseProfile(options_.profile);
    for (const SharedOption& shared : declared_.shared()) {
      if (shared.setting != profile->setting) takeSetting(shared);
    }
    if (options_.pythonHome.empty()) options_.pythonHome = installedPythonHome();
    options_.configTrouble = sources_.trouble();
    // The commands that mend it go on.
    if (!options_.configTrouble.empty() && !mends(options_.command)) {
      throw Failure(Exit::wrongUse, options_.configTrouble);
    }
  }

  static bool mends(Command command) { return command == Command::config || command == Command::doctor; }

  void takeSecret() {
    try {
      options_.appSecret = resolveSecret(options_.appSecret, "--app-secret");
    } catch (const Failure& failure) {
      if (options_.command != Command::doctor) throw;
      if (options_.configTrouble.empty()) options_.configTrouble = failure.what();
    }
  }

  void takeSetting(const SharedOption& shared) {
    SettingValue value = sources_.find(*shared.setting);
    if (shared.option->count() > 0) {
      value = {shared.setting->key, shared.given(), SettingSource::commandLine,
               "--" + std::string(shared.setting->key)};
    }
    // An application's data may be empty, and a proxy is read where it is used.
    const bool isChecked = value.source == SettingSource::environment || shared.setting->key == "profile";
    if (isChecked && value.source != SettingSource::nowhere && shared.setting->key != "proxy") {
      const std::string trouble = troubleOfValue(*shared.setting, value.value);
      if (!trouble.empty()) throw Failure(Exit::wrongUse, value.place + ": " + trouble);
    }
    if (value.source != SettingSource::commandLine && value.source != SettingSource::nowhere) {
      shared.assign(value.value);
    }
    options_.settings.push_back(std::move(value));
  }

  [[nodiscard]] SettingSource sourceOf(std::string_view key) const {
    for (const SettingValue& value : options_.settings) {
      if (value.key == key) return value.source;
    }
    return SettingSource::nowhere;
  }

  /// What comes from the better place goes before the other.
  void chooseServers() {
    if (!options_.sandbox || options_.cloudConfigFile.empty()) return;
    const SettingSource sandbox = sourceOf("sandbox");
    const SettingSource servers = sourceOf("cloud-config");
    if (sandbox == servers) {
      throw Failure(Exit::wrongUse, "--sandbox and --cloud-config exclude each other; give one of them");
    }
    if (sandbox < servers) {
      options_.cloudConfigFile.clear();
    } else {
      options_.sandbox = false;
    }
  }

  /// An empty text is not the same as none here.
  void takeAcceptedApplication() {
    if (sourceOf("app-id") != SettingSource::nowhere) options_.acceptedId = options_.appId;
    if (sourceOf("app-secret") != SettingSource::nowhere) options_.acceptedSecret = options_.appSecret;
    if (sourceOf("app-redirect") != SettingSource::nowhere) options_.acceptedRedirect = options_.appRedirect;
  }

  SettingSources sources_;
  Options options_;
  GivenWords words_;
  Declarations declared_;
};

}  // namespace

std::variant<Options, Help> parseCommandLine(const std::vector<std::string>& arguments,
                                             const std::string& configFolder) {
  return Parser(configFolder).parse(arguments);
}

bool asksForJson(const std::vector<std::string>& arguments, const std::string& configFolder) {
  std::string profile;
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    if (arguments[i] == "--json") return true;
    if (arguments[i].starts_with("--json=")) return flagOf(arguments[i].substr(7));
    if (arguments[i].starts_with("--profile=")) profile = arguments[i].substr(10);
    if (arguments[i] == "--profile" && i + 1 < arguments.size()) profile = arguments[i + 1];
  }
  SettingSources sources(configFolder);
  if (profile.empty()) profile = sources.find(*findSetting("profile")).value;
  // A name that is none leads to no file.
  if (profile != usualProfile && troubleOfValue(*findSetting("profile"), profile).empty()) {
    sources.chooseProfile(profile);
  }
  return flagOf(sources.find(*findSetting("json")).value);
}

}  // namespace host
