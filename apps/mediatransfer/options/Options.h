#pragma once

#include "options/NameTemplate.h"
#include "options/Platforms.h"
#include "options/Settings.h"

#include <optional>
#include <string>
#include <vector>

namespace host {

/// How the profile without a name is called.
inline constexpr const char* usualProfile = "default";

enum class Command {
  login,
  verify,
  whoami,
  logout,
  upload,
  albums,
  media,
  download,
  status,
  sandbox,
  config,
  doctor
};

enum class ConfigAction { show, set, unset };

/// What the command line asked for. Texts are UTF-8; an empty text means "not given".
struct Options {
  Command command = Command::whoami;

  // For every command.
  bool sandbox = false;     ///< the servers are stand-ins of this process
  bool consentAsk = false;  ///< somebody clicks Allow or Deny on the stand-in's page
  std::string cloudConfigFile;
  std::string cacheDir;
  std::string profile;  ///< whose logins; empty: those of nobody in particular
  std::string proxy;
  bool json = false;
  bool quiet = false;  ///< people are told of results and troubles alone
  std::string logFile;
  int verbosity = 0;
  std::string appId;
  std::string appSecret;
  std::string appRedirect;
  std::string pythonHome;
  std::vector<SettingValue> settings;  ///< where each of these comes from
  std::string configFolder;            ///< of the configuration files; empty: there are none
  std::string configTrouble;           ///< why they cannot be used, for the commands that mend them

  // Of single commands.
  const Platform* platform = nullptr;  ///< set for login, verify, whoami, logout and upload
  std::string user;                    ///< uuid; empty: who signed in last
  bool script = false;
  bool manager = false;
  bool offline = false;  ///< verify looks at the stored login alone

  int timeoutSeconds = 0;  ///< of a login; 0: the library's own limit
  bool noBrowser = false;
  std::string scope;
  std::optional<int> platformId;
  std::string redirectUrl;

  std::string file;                ///< of download ("-": the standard output), or of the running upload
  std::vector<std::string> files;  ///< of upload: videos and folders of them
  bool goOn = false;               ///< upload goes on past a file that fails
  std::string title;
  std::string description;
  std::string tags;
  std::string category;
  std::string privacy;
  std::string thumbnail;
  int patienceSeconds = 180;

  const MediaService* service = nullptr;  ///< set for albums and media
  std::string token;
  std::string album;
  std::string key;
  std::string secret;
  std::string url;          ///< of download
  bool keepErrors = false;  ///< download stores the answer of an error status, too

  std::string downloadDir;  ///< of media: fetches what it lists
  std::string nameTemplate = usualNameTemplate;
  int jobs = 4;         ///< downloads at once
  bool dryRun = false;  ///< upload and media tell what they would do

  int port = 0;  ///< of sandbox; 0 takes a free one
  std::string stateDir;
  std::string configFile;
  bool tls = false;
  bool withdrawn = false;  ///< the stand-in of Twitch refuses uploads
  /// The application that the stand-ins of `sandbox` accept; an empty text accepts any, none the usual one.
  std::optional<std::string> acceptedId;
  std::optional<std::string> acceptedSecret;
  std::optional<std::string> acceptedRedirect;

  ConfigAction configAction = ConfigAction::show;
  std::string configKey;
  std::string configValue;
};

/// True when the command of the options goes through the platform's script.
[[nodiscard]] inline bool usesScript(const Options& options) {
  if (options.platform == nullptr) return false;
  if (options.script || options.platform->manager < 0) return true;
  return !options.platform->native && !options.manager;
}

/// True when the standard output is for the bytes of a download.
[[nodiscard]] inline bool sendsBytes(const Options& options) {
  return options.command == Command::download && options.file == "-";
}

}  // namespace host
