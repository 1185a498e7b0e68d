#include "Commands.h"

#include "Failure.h"

#include <string>

namespace host {
namespace {

int notAvailable(const std::string& what) {
  throw Failure(Exit::refused, what +
                                   " is not available in this build; "
                                   "youtube, tiktok and douyin are served natively");
}

/// True when the command would go through a script.
bool goesThroughScript(const Options& options) {
  if (options.platform == nullptr) return false;
  if (options.script || options.platform->manager < 0) return true;
  const bool followsUploadPath = options.command == Command::login || options.command == Command::upload;
  return followsUploadPath && !options.platform->nativeUpload && !options.manager;
}

std::string commandName(Command command) {
  switch (command) {
    case Command::login:
      return "login";
    case Command::verify:
      return "verify";
    case Command::whoami:
      return "whoami";
    case Command::logout:
      return "logout";
    case Command::upload:
      return "upload";
    case Command::albums:
      return "albums";
    case Command::media:
      return "media";
    case Command::download:
      return "download";
    case Command::sandbox:
      return "sandbox";
  }
  return {};
}

}  // namespace

int runCommand(const Options& options, Report& report) {
  if (goesThroughScript(options)) {
    return notAvailable(commandName(options.command) + " " + std::string(options.platform->name) +
                        " through a script");
  }
  switch (options.command) {
    case Command::login:
      return runLogin(options, report);
    case Command::verify:
      return runVerify(options, report);
    case Command::whoami:
      return runWhoami(options, report);
    case Command::logout:
      return runLogout(options, report);
    case Command::upload:
      return runUpload(options, report);
    case Command::sandbox:
      return runSandbox(options, report);
    case Command::albums:
      return runAlbums(options, report);
    case Command::media:
      return runMedia(options, report);
    case Command::download:
      return runDownload(options, report);
  }
  return Exit::wrongUse;
}

}  // namespace host
