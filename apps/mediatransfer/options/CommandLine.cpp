#include "options/CommandLine.h"

#include "options/Completion.h"
#include "options/Description.h"
#include "options/Failure.h"
#include "options/HelpText.h"
#include "options/ManPage.h"
#include "options/Secrets.h"
#include "options/SettingSources.h"
#include "options/Suggestion.h"
#include "system/Terminal.h"
#include <ExternlMediaTransfer/Version.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <map>
#include <set>

namespace host {
namespace {

std::string platformNames() {
  std::string names;
  for (const Platform& platform : platforms) {
    if (!names.empty()) names += ", ";
    names += platform.name;
  }
  return names;
}

std::vector<std::string> platformList() {
  std::vector<std::string> names;
  for (const Platform& platform : platforms) names.emplace_back(platform.name);
  return names;
}

/// The words of a text, which blanks divide.
std::vector<std::string> wordsOf(std::string_view text) {
  std::vector<std::string> words;
  while (!text.empty()) {
    const std::string_view word = text.substr(0, text.find(' '));
    text.remove_prefix(std::min(word.size() + 1, text.size()));
    if (!word.empty()) words.emplace_back(word);
  }
  return words;
}

/// Those that fit, in the order of the table.
std::vector<std::string> mediaServiceNames(bool withAlbums) {
  std::vector<std::string> names;
  for (const MediaService& service : mediaServices) {
    if (service.hasAlbums || !withAlbums) names.emplace_back(service.name);
  }
  return names;
}

/// Those of all platforms, each once.
std::vector<std::string> privacyWords() {
  std::set<std::string> words;
  for (const Platform& platform : platforms) {
    for (std::string& word : wordsOf(platform.privacyWords)) words.insert(std::move(word));
  }
  return {words.begin(), words.end()};
}

/// "one, other or last"
std::string choiceText(const std::vector<std::string>& names) {
  std::string text;
  for (std::size_t i = 0; i < names.size(); ++i) {
    if (i > 0) text += i + 1 == names.size() ? " or " : ", ";
    text += names[i];
  }
  return text;
}

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

/// The parser, and the texts that it fills and that are checked afterwards.
class Parser {
 public:
  explicit Parser(const std::string& configFolder) : sources_(configFolder) {
    options_.configFolder = configFolder;
    // A path may start with a slash on every system.
    app_.allow_windows_style_options(false);
    app_.require_subcommand(1);
    app_.fallthrough();
    app_.set_version_flag("--version", std::string("mediatransfer ") + KBL::transferVersion,
                          "Print the version and exit");
    app_.footer(
        "Options in front of the command may also follow it. The environment stands for each that is not "
        "given: MEDIATRANSFER_APP_SECRET for --app-secret and so on, MEDIATRANSFER_TOKEN for --token; and "
        "behind it what 'mediatransfer config set' has written.");
    addSharedOptions();
    addLogin();
    addVerify();
    addUserCommand(Command::whoami, "whoami", "Show the user of PLATFORM who is signed in");
    addUserCommand(Command::logout, "logout", "Sign out of PLATFORM and forget the tokens");
    addCommand(Command::status, "status", "Show who is signed in where, in all profiles");
    addUpload();
    addAlbums();
    addMedia();
    addDownload();
    addSandbox();
    addConfig();
    addCommand(Command::doctor, "doctor", "Check all that commands need, and say what to do about it");
    addCompletion();
  }

  std::variant<Options, Help> parse(std::vector<std::string> arguments) {
    askForHelp(arguments);
    std::reverse(arguments.begin(), arguments.end());
    try {
      app_.parse(arguments);
    } catch (const CLI::CallForHelp&) {
      return Help{helpOfCalledCommand()};
    } catch (const CLI::CallForVersion&) {
      return Help{app_.version() + "\n"};
    } catch (const CLI::ParseError& error) {
      throw Failure(Exit::wrongUse, explain(error) + "; see " + helpCall());
    }
    if (calledCommand() == "completion") return Help{completion()};
    if (calledCommand() == "manual") return Help{manPage(described())};
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

  void addSharedOptions() {
    addFlag("--sandbox", options_.sandbox, "Use stand-in servers inside this process");
    CLI::Option* const consent =
        addText("--consent", consent_, "auto|ask", "Who consents to a login of the stand-in servers")
            ->check(CLI::IsMember({"auto", "ask"}));
    choices_[consent] = {"auto", "ask"};
    addText("--cloud-config", options_.cloudConfigFile, "FILE", "JSON object from URL key to server address");
    addText("--cache-dir", options_.cacheDir, "DIR", "Folder of the enciphered logins");
    addText("--profile", options_.profile, "NAME",
            "Keep a further user apart, with logins and key of its own");
    addText("--proxy", options_.proxy, "URL", "http://, socks4:// or socks5://[USER:PASSWORD@]HOST:PORT");
    addFlag("--json", options_.json, "Write one JSON object a line to the standard output");
    addFlag("-q,--quiet", options_.quiet, "Print results and troubles alone");
    addText("--log", options_.logFile, "FILE", "Write the library's log to FILE");
    CLI::Option* const verbose =
        app_.add_flag("-v,--verbose", options_.verbosity, "Show the library's log; twice: debug lines too")
            ->option_text(" ");
    shared_.push_back({findSetting("verbose"), verbose, nullptr, &options_.verbosity, nullptr});
    addText("--app-id", options_.appId, "ID", "Application id of scripted platforms");
    addText("--app-secret", options_.appSecret, "S", "Application secret; @FILE reads it from FILE");
    addText("--app-redirect", options_.appRedirect, "URL",
            "Redirect address of scripted platforms; at http://127.0.0.1:PORT/... the program listens");
    addText("--python-home", options_.pythonHome, "DIR", "Home of the scripts of scripted platforms");
  }

  static const Setting* settingOf(const std::string& names) {
    return findSetting(names.substr(names.find("--") + 2));
  }

  void addFlag(const std::string& names, bool& value, const std::string& description) {
    CLI::Option* const option = app_.add_flag(names, value, description)->option_text(" ");
    shared_.push_back({settingOf(names), option, &value, nullptr, nullptr});
  }

  CLI::Option* addText(const std::string& name, std::string& value, const std::string& kind,
                       const std::string& description) {
    CLI::Option* const option = app_.add_option(name, value, description)->option_text(kind);
    shared_.push_back({settingOf(name), option, nullptr, nullptr, &value});
    return option;
  }

  CLI::App* addCommand(Command command, const std::string& name, const std::string& description) {
    CLI::App* const sub = app_.add_subcommand(name, description);
    sub->group("Commands");
    sub->callback([this, command] { options_.command = command; });
    return sub;
  }

  CLI::App* addPlatformCommand(Command command, const std::string& name, const std::string& description) {
    CLI::App* const sub = addCommand(command, name, description);
    choices_[sub->add_option("PLATFORM", platform_, platformNames())->required()] = platformList();
    return sub;
  }

  void addUser(CLI::App& sub) {
    sub.add_option("--user", options_.user, "Which user; without it, who signed in last")
        ->option_text("UUID");
  }

  void addLogin() {
    CLI::App& sub = *addPlatformCommand(Command::login, "login", "Sign in to PLATFORM with a browser");
    sub.add_option("--timeout", options_.timeoutSeconds, "How long to wait for the browser (120)")
        ->option_text("SECONDS")
        ->check(CLI::Range(1, 86400));
    sub.add_flag("--no-browser", options_.noBrowser, "Only print the address, open no browser");
    sub.add_option("--scope", options_.scope, "OAuth scopes, separated by commas")->option_text("TEXT");
    sub.add_option("--platform-id", options_.platformId, "The account server's number of the platform")
        ->option_text("N");
    addWay(sub);
    sub.add_option("--redirect-url", options_.redirectUrl,
                   "The address that the browser reached, for scripted platforms")
        ->option_text("URL");
  }

  void addVerify() {
    addUserCommand(Command::verify, "verify", "Check a stored login and renew its token")
        .add_flag("--offline", options_.offline,
                  "Look at the stored login alone, for platforms that go through a script");
  }

  CLI::App& addUserCommand(Command command, const std::string& name, const std::string& description) {
    CLI::App& sub = *addPlatformCommand(command, name, description);
    addUser(sub);
    addWay(sub);
    return sub;
  }

  // Logins of the two ways are kept apart.
  void addWay(CLI::App& sub) {
    CLI::Option* const script = sub.add_flag("--script", options_.script, "Through the script");
    sub.add_flag("--manager", options_.manager, "Through the authorization manager")->excludes(script);
  }

  void addUpload() {
    CLI::App& sub = *addPlatformCommand(Command::upload, "upload", "Upload videos to PLATFORM");
    sub.add_option("FILE", options_.files, "The videos, or folders of them")->required();
    sub.add_flag("--continue", options_.goOn, "Go on with the next file when one fails");
    sub.add_flag("--dry-run", options_.dryRun, "Check all, tell what would be sent, and send no video");
    sub.add_option("--title", options_.title, "Without it, the file's name")->option_text("T");
    sub.add_option("--description", options_.description, "What the video is about")->option_text("T");
    sub.add_option("--tags", options_.tags, "Tags, separated by commas")->option_text("T");
    sub.add_option("--category", options_.category,
                   "One of the categories that whoami shows, for scripted platforms")
        ->option_text("T");
    CLI::Option* const privacy =
        sub.add_option("--privacy", options_.privacy,
                       "Who may see it: public, unlisted or another word of the platform (private)")
            ->option_text("P");
    choices_[privacy] = privacyWords();
    sub.add_option("--thumbnail", options_.thumbnail,
                   "A picture that stands for the video, for scripted platforms")
        ->option_text("FILE");
    addUser(sub);
    sub.add_flag("--script", options_.script, "Upload through the script");
    sub.add_option("--patience", options_.patienceSeconds, "How long to go on without any news (180)")
        ->option_text("SECONDS")
        ->check(CLI::Range(1, 86400));
  }

  void addToken(CLI::App& sub) {
    sub.add_option("--token", options_.token,
                   "Access token in place of the stored login; @FILE reads it from FILE")
        ->option_text("T")
        ->envname("MEDIATRANSFER_TOKEN");
  }

  void addService(CLI::App& sub, const std::vector<std::string>& names) {
    choices_[sub.add_option("SERVICE", service_, choiceText(names))->required()] = names;
  }

  void addAlbums() {
    CLI::App& sub = *addCommand(Command::albums, "albums", "List a user's albums");
    addService(sub, mediaServiceNames(true));
    addToken(sub);
  }

  void addMedia() {
    CLI::App& sub = *addCommand(Command::media, "media", "List a user's pictures and videos");
    addService(sub, mediaServiceNames(false));
    addToken(sub);
    sub.add_option("--album", options_.album, "Album of facebook")->option_text("ID");
    sub.add_option("--key", options_.key, "Application key of flickr (--app-id)")
        ->option_text("K")
        ->envname("MEDIATRANSFER_KEY");
    sub.add_option("--secret", options_.secret,
                   "Application secret of flickr (--app-secret); @FILE reads it from FILE")
        ->option_text("S")
        ->envname("MEDIATRANSFER_SECRET");
    addAlbumDownload(sub);
  }

  void addAlbumDownload(CLI::App& sub) {
    constexpr int mostJobs = 16;
    CLI::Option* const download =
        sub.add_option("--download", options_.downloadDir, "Fetch what is listed into DIR, but what it has")
            ->option_text("DIR");
    sub.add_option("--name-template", options_.nameTemplate,
                   "Names of the files, of {title}, {id}, {index}, {type} and {ext} ({title}.{ext})")
        ->option_text("T")
        ->needs(download);
    sub.add_option("--jobs", options_.jobs, "How many to fetch at once, 16 at most (4)")
        ->option_text("N")
        ->check(CLI::Range(1, mostJobs))
        ->needs(download);
    sub.add_flag("--dry-run", options_.dryRun, "Tell what --download would fetch, and fetch nothing")
        ->needs(download);
  }

  void addDownload() {
    CLI::App& sub = *addCommand(Command::download, "download", "Fetch URL into FILE");
    sub.add_option("URL", options_.url, "An address, with --sandbox also a path of the stand-in servers")
        ->required();
    sub.add_option("FILE", options_.file,
                   "Where to store it, in place of what is there; - for the standard output")
        ->required();
    sub.add_flag("--keep-errors", options_.keepErrors,
                 "Store what comes with an error status (404 ...), too");
  }

  void addSandbox() {
    CLI::App& sub = *addCommand(Command::sandbox, "sandbox", "Run the stand-in servers until Ctrl-C");
    sub.add_option("--port", options_.port, "Without it, a free one")
        ->option_text("N")
        ->check(CLI::Range(0, 65535));
    sub.add_option("--state-dir", options_.stateDir, "Keep users, tokens and uploads in DIR")
        ->option_text("DIR");
    sub.add_option("--config-file", options_.configFile,
                   "Write the cloud configuration to FILE in place of the standard output")
        ->option_text("FILE");
    sub.add_flag("--withdrawn", options_.withdrawn, "Twitch refuses uploads as the service does now");
    sub.add_flag("--tls", options_.tls, "https with a certificate made at start");
    sub.footer(
        "--app-id, --app-secret and --app-redirect say which application the servers accept; an empty one "
        "accepts any.");
  }

  void addConfig() {
    CLI::App& sub = *addCommand(Command::config, "config", "Keep options for later calls");
    choices_[sub.add_option("ACTION", configAction_, "set, unset, show or list")->required()] = {
        "set", "unset", "show", "list"};
    choices_[sub.add_option("KEY", options_.configKey, "An option in front of the command, without its --")] =
        settingKeys();
    sub.add_option("VALUE", options_.configValue, "true or false for a flag; - reads a line of the input");
    sub.footer(
        "config set KEY VALUE       keeps the value, for all profiles or that of --profile\n"
        "config unset KEY           forgets it\n"
        "config show [KEY]          shows what holds, and where it comes from (list is the same)\n"
        "The command line goes before the environment, that before the profile's file, and that before the "
        "general one.");
  }

  void addCompletion() {
    CLI::App& sub =
        *app_.add_subcommand("completion", "Print what a shell reads to complete calls")->group("Commands");
    CLI::Option* const shell = sub.add_option("SHELL", shell_, "bash, zsh or fish")->required();
    choices_[shell] = {completionShells.begin(), completionShells.end()};
    // For those who install the program.
    app_.add_subcommand("manual", "Print the manual page")->group("");
  }

  std::string completion() {
    const std::string shell = lowerCase(shell_);
    const std::vector<std::string> shells(completionShells.begin(), completionShells.end());
    if (std::find(shells.begin(), shells.end(), shell) == shells.end()) {
      throw Failure(Exit::wrongUse, "no completion for the shell '" + shell_ + "'" +
                                        didYouMean(shell, shells) + "; give " + choiceText(shells));
    }
    return completionScript(described(), shell);
  }

  [[nodiscard]] ProgramText described() const { return describe(app_, choices_); }

  [[nodiscard]] std::string calledCommand() const {
    const auto called = app_.get_subcommands();
    return called.empty() ? std::string() : called.front()->get_name();
  }

  [[nodiscard]] std::string helpCall() const {
    const std::string command = calledCommand();
    return "mediatransfer " + (command.empty() ? "" : command + " ") + "--help";
  }

  /// The parser's reason, said for people.
  [[nodiscard]] std::string explain(const CLI::ParseError& error) const {
    std::string reason = error.what();
    if (reason.find(" required ") != std::string::npos && reason.ends_with(" missing")) {
      return reason.substr(0, reason.find(':')) + " needs a value";
    }
    const bool isStrange = dynamic_cast<const CLI::ExtrasError*>(&error) != nullptr;
    if (!isStrange && dynamic_cast<const CLI::RequiredError*>(&error) == nullptr) return reason;
    std::string strange = strangeArgument();
    if (!strange.empty()) return strange;
    return calledCommand().empty() ? "no command is given" : reason;
  }

  /// What of the arguments nobody knows; empty when all are known. Values stay out of it: behind a misspelt
  /// option stands perhaps a secret.
  [[nodiscard]] std::string strangeArgument() const {
    const std::vector<std::string> strange = app_.remaining(true);
    for (const std::string& argument : strange) {
      if (argument.size() < 2 || argument.front() != '-' || argument == "--") continue;
      const bool isLong = argument[1] == '-';
      if (!isLong) return "unknown option " + argument.substr(0, 2);
      const std::string option = argument.substr(0, argument.find('='));
      const std::string known = nearest(option.substr(2), optionNames());
      return "unknown option " + option + (known.empty() ? known : " (did you mean --" + known + "?)");
    }
    if (strange.empty()) return {};
    const std::string command = calledCommand();
    if (command.empty()) {
      return "unknown command '" + strange.front() + "'" + didYouMean(strange.front(), commandNames());
    }
    return "there is an argument too many behind " + command;
  }

  [[nodiscard]] std::vector<std::string> commandNames() const {
    std::vector<std::string> names;
    for (const CLI::App* const command : app_.get_subcommands({})) names.push_back(command->get_name());
    return names;
  }

  /// Those of the called command, and those of every command.
  [[nodiscard]] std::vector<std::string> optionNames() const {
    std::vector<std::string> names;
    const auto add = [&names](const CLI::App& app) {
      for (const CLI::Option* const option : app.get_options()) {
        for (const std::string& name : option->get_lnames()) names.push_back(name);
      }
    };
    for (const CLI::App* const command : app_.get_subcommands()) add(*command);
    add(app_);
    return names;
  }

  std::string helpOfCalledCommand() {
    constexpr int usualWidth = 80;
    const int width = outputIsTerminal() ? std::min(terminalWidth(), usualWidth) : usualWidth;
    return helpText(described(), calledCommand(), width);
  }

  void check() {
    takeSettings();
    chooseServers();
    options_.consentAsk = consent_ == "ask" && (options_.sandbox || options_.command == Command::sandbox);
    if (sourceOf("consent") == SettingSource::commandLine && !options_.sandbox &&
        options_.command != Command::sandbox) {
      throw Failure(Exit::wrongUse, "--consent is for the stand-in servers; give --sandbox with it");
    }
    if (options_.command == Command::config) return checkAction();
    if (takesPlatform(options_.command)) checkPlatform();
    if (options_.command == Command::albums || options_.command == Command::media) checkService();
    checkNameTemplate(options_.nameTemplate);
    takeSecret();
    if (options_.command == Command::sandbox) takeAcceptedApplication();
    options_.token = resolveSecret(options_.token, "--token");
    options_.secret = resolveSecret(options_.secret, "--secret");
  }

  /// What the command line does not give, from the environment and the configuration files.
  void takeSettings() {
    const auto profile = std::find_if(shared_.begin(), shared_.end(), [](const SharedOption& shared) {
      return shared.setting->key == "profile";
    });
    takeSetting(*profile);
    if (options_.profile == usualProfile) options_.profile.clear();
    sources_.chooseProfile(options_.profile);
    for (const SharedOption& shared : shared_) {
      if (shared.setting != profile->setting) takeSetting(shared);
    }
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

  void checkAction() {
    static const std::vector<std::string> actions{"set", "unset", "show", "list"};
    const std::string action = lowerCase(configAction_);
    const bool changes = action == "set" || action == "unset";
    if (std::find(actions.begin(), actions.end(), action) == actions.end()) {
      throw Failure(Exit::wrongUse, "config does not know '" + configAction_ + "'" +
                                        didYouMean(configAction_, actions) +
                                        "; give set, unset, show or list");
    }
    if (changes && options_.configKey.empty()) {
      throw Failure(Exit::wrongUse,
                    "config " + action + " needs a KEY; 'mediatransfer config list' shows all");
    }
    if ((action == "set") == options_.configValue.empty()) {
      throw Failure(Exit::wrongUse, action == "set"
                                        ? "config set needs a VALUE behind the key; 'mediatransfer "
                                          "config unset' takes one away"
                                        : "there is an argument too many behind config " + action);
    }
    options_.configAction = action == "set"     ? ConfigAction::set
                            : action == "unset" ? ConfigAction::unset
                                                : ConfigAction::show;
  }

  void checkPlatform() {
    options_.platform = findPlatform(lowerCase(platform_));
    if (options_.platform == nullptr) {
      throw Failure(Exit::wrongUse, "unknown platform '" + platform_ + "'" +
                                        didYouMean(platform_, platformList()) + "; give one of " +
                                        platformNames());
    }
    checkPrivacy();
    if (options_.script && !options_.platform->hasScript()) {
      throw Failure(Exit::wrongUse, platform_ + " has no script; leave out --script");
    }
    if (options_.manager && options_.platform->manager < 0) {
      throw Failure(Exit::wrongUse, platform_ + " has no authorization manager; leave out --manager");
    }
  }

  void checkService() {
    const std::vector<std::string> names = mediaServiceNames(options_.command == Command::albums);
    for (const MediaService& service : mediaServices) {
      if (service.name == lowerCase(service_)) options_.service = &service;
    }
    if (std::find(names.begin(), names.end(), lowerCase(service_)) != names.end()) return;
    throw Failure(Exit::wrongUse, "unknown service '" + service_ + "'" + didYouMean(service_, names) +
                                      "; give " + choiceText(names));
  }

  /// The service would refuse an unknown word only when the upload has begun.
  void checkPrivacy() {
    const std::vector<std::string> words = wordsOf(options_.platform->privacyWords);
    if (options_.privacy.empty() || words.empty()) return;
    const std::string word = lowerCase(options_.privacy);
    if (std::find(words.begin(), words.end(), word) == words.end()) {
      throw Failure(Exit::wrongUse, std::string(options_.platform->name) + " knows no privacy '" +
                                        options_.privacy + "'" + didYouMean(word, words) + "; give " +
                                        choiceText(words));
    }
    options_.privacy = word;
  }

  SettingSources sources_;
  CLI::App app_{"Sign in to media platforms, upload videos, list and download media.", "mediatransfer"};
  Options options_;
  std::vector<SharedOption> shared_;
  std::string consent_;
  std::string platform_;
  std::string service_;
  std::string shell_;
  std::map<const CLI::Option*, std::vector<std::string>> choices_;  ///< the words that they take
  std::string configAction_;
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
