#include "host/Checkup.h"

#include "host/DataFolders.h"
#include "host/Host.h"
#include "host/LoginFile.h"
#include "host/ScriptSession.h"
#include "host/ServerOrigin.h"
#include "options/ConfigFile.h"
#include "report/Advice.h"
#include "system/Files.h"
#include "system/KeyFile.h"
#include "system/Utf8Path.h"
#include <BsNet/NetReply.h>
#include <KblUtils/FileUtil.h>
#include <KblUtils/Path.h>

#include <json/reader.h>
#include <json/value.h>

#include <algorithm>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <map>
#include <memory>
#include <system_error>

namespace host {
namespace {

using State = Check::State;

constexpr int certificateRefused = KBL::transportErrorBase + 60;
constexpr int authoritiesUnreadable = KBL::transportErrorBase + 77;

std::string counted(std::size_t count, const char* one, const char* many) {
  return std::to_string(count) + " " + (count == 1 ? one : many);
}

bool isThere(const std::string& path) {
  std::error_code error;
  return std::filesystem::exists(pathFromUtf8(path), error);
}

bool isFolder(const std::string& path) {
  std::error_code error;
  return std::filesystem::is_directory(pathFromUtf8(path), error);
}

/// The path itself, or the nearest above it that is there.
std::string nearestThere(const std::string& path) {
  std::filesystem::path place = pathFromUtf8(path);
  std::error_code error;
  while (!std::filesystem::exists(place, error) && place != place.root_path() && place.has_parent_path()) {
    place = place.parent_path();
  }
  return utf8FromPath(place);
}

Check checkFolder(const std::string& folder) {
  const std::string there = nearestThere(folder);
  if (!isFolder(there)) {
    return {"cache folder", State::fault, "'" + folder + "' cannot be made: '" + there + "' is no folder",
            "take that away, or give --cache-dir DIR"};
  }
  if (!folderTakesAFile(there)) {
    return {"cache folder", State::fault, "'" + there + "' cannot be written",
            "check its rights and the room on its disk, or give --cache-dir DIR"};
  }
  if (there != folder) return {"cache folder", State::ok, folder + " (the first login makes it)", {}};
  if (isOpenToOthers(folder)) {
    return {"cache folder", State::warning, "'" + folder + "' is open to other users of this machine",
            "close it with: chmod 700 " + shellWord(folder)};
  }
  return {"cache folder", State::ok, folder, {}};
}

bool hasAnyLogin(const std::string& folder) {
  std::error_code error;
  std::filesystem::directory_iterator entry(pathFromUtf8(folder), error);
  for (const std::filesystem::directory_iterator end; !error && entry != end; entry.increment(error)) {
    const std::string name = utf8FromPath(entry->path().filename());
    if (name.starts_with("ema_") || name.ends_with("_script_login")) return true;
  }
  return false;
}

Check checkKey(const DataFolders& folders) {
  const std::string path = folders.key + "/cipher.key";
  if (!isThere(path)) {
    if (!hasAnyLogin(folders.cache)) return {"key", State::ok, path + " (the first login makes it)", {}};
    return {"key", State::fault, "'" + path + "' is gone, and the stored logins cannot be read without it",
            "bring it back, or sign in again"};
  }
  if (!keyFileServes(path)) {
    return {"key", State::fault, "'" + path + "' cannot be read or unsealed by this user, or is damaged",
            "check its rights, or move it away and sign in again"};
  }
  if (isOpenToOthers(path)) {
    return {"key", State::warning, "'" + path + "' is open to other users of this machine",
            "close it with: chmod 600 " + shellWord(path)};
  }
  return {"key", State::ok, path, {}};
}

/// Throws Failure for a login that cannot be read.
void readLogin(const Options& options, Report& report) {
  const Host host(options, report, Servers::none);
  if (!usesScript(options) || host.scriptLogins().load()) return;
  throw Failure(Cause::login,
                "the login in '" + host.loginPath() +
                    "' cannot be read: it is damaged, or its key is another; sign in again with: " +
                    signInCall(options));
}

}  // namespace

Check checkOf(const std::string& name, const Failure& failure) {
  const std::string line = failure.what();
  const std::size_t cut = line.find("; ");
  if (cut == std::string::npos) return {name, State::fault, line, {}};
  return {name, State::fault, line.substr(0, cut), line.substr(cut + 2)};
}

std::vector<Check> checkConfiguration(const Options& options) {
  std::vector<Check> checks;
  if (!options.configTrouble.empty()) {
    checks.push_back(checkOf("configuration", Failure(Exit::wrongUse, options.configTrouble)));
  }
  if (options.configFolder.empty()) {
    checks.push_back({"configuration", State::warning, "no home folder is known to keep one in", "set HOME"});
    return checks;
  }
  std::vector<std::string> paths{configPath(options.configFolder, "")};
  if (!options.profile.empty()) paths.push_back(configPath(options.configFolder, options.profile));
  for (const std::string& path : paths) {
    if (!isThere(path)) continue;
    if (isOpenToOthers(path)) {
      checks.push_back({"configuration", State::warning,
                        "'" + path + "' is open to other users of this machine",
                        "close it with: chmod 600 " + shellWord(path)});
    } else if (options.configTrouble.empty()) {
      checks.push_back({"configuration", State::ok, path, {}});
    }
  }
  if (checks.empty()) checks.push_back({"configuration", State::ok, "none is kept", {}});
  return checks;
}

std::vector<Check> checkStorage(const Options& options) {
  try {
    const DataFolders folders = dataFolders(options.cacheDir, options.profile, options.sandbox);
    return {checkFolder(folders.cache), checkKey(folders)};
  } catch (const Failure& failure) {
    return {checkOf("cache folder", failure)};
  }
}

std::vector<Check> checkLogins(const Options& options, Report& report) {
  std::vector<Check> checks;
  std::size_t good = 0;
  for (const Platform& platform : platforms) {
    for (const bool byScript : {false, true}) {
      if (byScript ? !platform.hasScript() : platform.manager < 0) continue;
      Options own = options;
      own.command = Command::whoami;
      own.platform = &platform;
      own.script = byScript && platform.native;
      own.manager = !byScript && !platform.native;
      try {
        if (!Host::hasLogins(own)) continue;
        readLogin(own, report);
        ++good;
      } catch (const Failure& failure) {
        checks.push_back(checkOf("login", failure));
      }
    }
  }
  if (good > 0)
    checks.push_back({"logins", State::ok, counted(good, "is", "are") + " kept and can be read", {}});
  if (checks.empty()) {
    checks.push_back({"logins", State::ok, "nobody is signed in", {}});
  }
  return checks;
}

std::vector<Check> checkScripts(const Options& options, Report& report) {
  if (options.pythonHome.empty()) {
    std::string names;
    for (const Platform& platform : platforms) {
      if (!platform.native) names += (names.empty() ? "" : ", ") + std::string(platform.name);
    }
    return {{"python home", State::warning, "none is set, which " + names + " need",
             "make one with: tools/make_python_home DIR, and keep it with: " + nextCall(options) +
                 " config set python-home "
                 "DIR"}};
  }
  try {
    requirePythonHome(options.pythonHome, "the platforms that go through a script");
  } catch (const Failure& failure) {
    return {checkOf("python home", failure)};
  }
  std::vector<Check> checks{{"python home", State::ok, options.pythonHome, {}}};
  Options plain = options;
  plain.sandbox = false;
  Host host(plain, report, Servers::none);
  host.openTransfers();
  try {
    requireScriptsToRun(plain);
    checks.push_back({"interpreter", State::ok, "the scripts run", {}});
  } catch (const Failure& failure) {
    checks.push_back(checkOf("interpreter", failure));
  }
  return checks;
}

std::vector<Address> addressesOf(const std::string& json) {
  Json::CharReaderBuilder builder;
  Json::CharReaderBuilder::strictMode(&builder.settings_);
  builder["stackLimit"] = 4;
  const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
  Json::Value table;
  try {
    if (!reader->parse(json.data(), json.data() + json.size(), &table, nullptr) || !table.isObject())
      return {};
  } catch (const std::exception&) {
    return {};
  }
  std::map<std::string, std::vector<std::string>> keys;
  for (const std::string& key : table.getMemberNames()) {
    const std::string origin = table[key].isString() ? originOf(table[key].asString()) : std::string();
    if (!origin.empty()) keys[origin].push_back(key);
  }
  std::vector<Address> addresses;
  for (const auto& [origin, names] : keys) {
    const bool isAccountServer = std::any_of(names.begin(), names.end(), [](const std::string& key) {
      return key.starts_with("urlLFServer") || key.starts_with("urlUserSupport");
    });
    const std::size_t others = names.size() - 1;
    addresses.push_back({origin, (isAccountServer ? "the account server" : names.front()) +
                                     (others == 0 ? "" : " and " + counted(others, "other", "others"))});
  }
  return addresses;
}

Check checkReply(const Address& address, const ProbeResult& result, bool throughProxy) {
  const std::string name = "address";
  const std::string shown = address.origin + " (" + address.use + ")";
  if (result.code == 0) return {name, State::ok, shown + (throughProxy ? " through the proxy" : ""), {}};
  const std::string reason =
      " (" + std::to_string(result.code) + ": " + singleLine(withoutSecrets(result.text), 160) + ")";
  if (result.code == certificateRefused) {
    return {name, State::fault, shown + " has a certificate that is not trusted" + reason,
            "check the clock and the system's certificate authorities, and that it is the right server"};
  }
  return {name, State::fault, shown + " cannot be reached" + reason,
          throughProxy ? "check the network, the proxy and the addresses of --cloud-config"
                       : "check the network and the addresses of --cloud-config"};
}

Check checkClock(const std::vector<ProbeResult>& results) {
  constexpr std::int64_t noticed = 60;
  constexpr std::int64_t harmful = 300;
  const std::string remedy = "set this machine's clock; servers refuse signatures and tokens of another time";
  std::optional<std::int64_t> least;
  for (const ProbeResult& result : results) {
    const std::optional<std::int64_t> there = secondsOfHttpDate(result.date);
    if (!there) continue;
    const std::int64_t apart = result.at - *there;
    // Of several servers the one that is nearest is believed.
    if (!least || std::abs(apart) < std::abs(*least)) least = apart;
  }
  if (!least) return {"clock", State::ok, "not compared: no server told the time", {}};
  const std::string seconds = std::to_string(std::abs(*least)) + " s";
  const std::string found = seconds + (*least < 0 ? " behind" : " ahead of") + " the servers' clocks";
  if (std::abs(*least) >= harmful) return {"clock", State::fault, found, remedy};
  if (std::abs(*least) >= noticed) return {"clock", State::warning, found, remedy};
  return {"clock", State::ok, "as the servers' clocks, within " + seconds, {}};
}

Check checkAuthorities(const ProbeResult& result) {
  if (result.code == certificateRefused) {
    return {"certificates", State::ok, "the system's authorities can be read, and a stranger is refused", {}};
  }
  const std::string reason = " (" + std::to_string(result.code) + ": " + singleLine(result.text, 160) + ")";
  if (result.code == authoritiesUnreadable) {
    return {"certificates", State::fault, "the system's authorities cannot be read" + reason,
            "install them (on Debian the package ca-certificates)"};
  }
  return {"certificates", State::warning, "the system's authorities could not be tried" + reason,
          "run again with -v to see why"};
}

}  // namespace host
