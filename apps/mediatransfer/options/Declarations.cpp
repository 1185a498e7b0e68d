#include "options/Declarations.h"

#include "options/Choices.h"
#include "options/Completion.h"
#include <ExternlMediaTransfer/Version.h>

namespace host {

Declarations::Declarations(Options& options, GivenWords& words) : options_(options), words_(words) {
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

void Declarations::addSharedOptions() {
  addFlag("--sandbox", options_.sandbox, "Use stand-in servers inside this process");
  CLI::Option* const consent =
      addText("--consent", words_.consent, "auto|ask", "Who consents to a login of the stand-in servers")
          ->check(CLI::IsMember({"auto", "ask"}));
  choices_[consent] = {"auto", "ask"};
  addText("--cloud-config", options_.cloudConfigFile, "FILE", "JSON object from URL key to server address");
  addText("--cache-dir", options_.cacheDir, "DIR", "Folder of the enciphered logins");
  addText("--profile", options_.profile, "NAME", "Keep a further user apart, with logins and key of its own");
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

const Setting* Declarations::settingOf(const std::string& names) {
  return findSetting(names.substr(names.find("--") + 2));
}

void Declarations::addFlag(const std::string& names, bool& value, const std::string& description) {
  CLI::Option* const option = app_.add_flag(names, value, description)->option_text(" ");
  shared_.push_back({settingOf(names), option, &value, nullptr, nullptr});
}

CLI::Option* Declarations::addText(const std::string& name, std::string& value, const std::string& kind,
                                   const std::string& description) {
  CLI::Option* const option = app_.add_option(name, value, description)->option_text(kind);
  shared_.push_back({settingOf(name), option, nullptr, nullptr, &value});
  return option;
}

CLI::App* Declarations::addCommand(Command command, const std::string& name, const std::string& description) {
  CLI::App* const sub = app_.add_subcommand(name, description);
  sub->group("Commands");
  sub->callback([this, command] { options_.command = command; });
  return sub;
}

CLI::App* Declarations::addPlatformCommand(Command command, const std::string& name,
                                           const std::string& description) {
  CLI::App* const sub = addCommand(command, name, description);
  choices_[sub->add_option("PLATFORM", words_.platform, platformNames())->required()] = platformList();
  return sub;
}

void Declarations::addUser(CLI::App& sub) {
  sub.add_option("--user", options_.user, "Which user; without it, who signed in last")->option_text("UUID");
}

void Declarations::addLogin() {
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

void Declarations::addVerify() {
  addUserCommand(Command::verify, "verify", "Check a stored login and renew its token")
      .add_flag("--offline", options_.offline,
                "Look at the stored login alone, for platforms that go through a script");
}

CLI::App& Declarations::addUserCommand(Command command, const std::string& name,
                                       const std::string& description) {
  CLI::App& sub = *addPlatformCommand(command, name, description);
  addUser(sub);
  addWay(sub);
  return sub;
}

// Logins of the two ways are kept apart.
void Declarations::addWay(CLI::App& sub) {
  CLI::Option* const script = sub.add_flag("--script", options_.script, "Through the script");
  sub.add_flag("--manager", options_.manager, "Through the authorization manager")->excludes(script);
}

void Declarations::addUpload() {
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

void Declarations::addToken(CLI::App& sub) {
  sub.add_option("--token", options_.token,
                 "Access token in place of the stored login; @FILE reads it from FILE")
      ->option_text("T")
      ->envname("MEDIATRANSFER_TOKEN");
}

void Declarations::addService(CLI::App& sub, const std::vector<std::string>& names) {
  choices_[sub.add_option("SERVICE", words_.service, choiceText(names))->required()] = names;
}

void Declarations::addAlbums() {
  CLI::App& sub = *addCommand(Command::albums, "albums", "List a user's albums");
  addService(sub, mediaServiceNames(true));
  addToken(sub);
}

void Declarations::addMedia() {
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

void Declarations::addAlbumDownload(CLI::App& sub) {
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

void Declarations::addDownload() {
  CLI::App& sub = *addCommand(Command::download, "download", "Fetch URL into FILE");
  sub.add_option("URL", options_.url, "An address, with --sandbox also a path of the stand-in servers")
      ->required();
  sub.add_option("FILE", options_.file,
                 "Where to store it, in place of what is there; - for the standard output")
      ->required();
  sub.add_flag("--keep-errors", options_.keepErrors, "Store what comes with an error status (404 ...), too");
}

void Declarations::addSandbox() {
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

void Declarations::addConfig() {
  CLI::App& sub = *addCommand(Command::config, "config", "Keep options for later calls");
  choices_[sub.add_option("ACTION", words_.configAction, "set, unset, show or list")->required()] = {
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

void Declarations::addCompletion() {
  CLI::App& sub =
      *app_.add_subcommand("completion", "Print what a shell reads to complete calls")->group("Commands");
  CLI::Option* const shell = sub.add_option("SHELL", words_.shell, "bash, zsh or fish")->required();
  choices_[shell] = {completionShells.begin(), completionShells.end()};
  // For those who install the program.
  app_.add_subcommand("manual", "Print the manual page")->group("");
}

}  // namespace host
