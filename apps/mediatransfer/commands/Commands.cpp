#include "commands/Commands.h"

#include "options/Failure.h"

namespace host {
namespace {

/// Null for commands without a platform.
int (*scriptCommand(Command command))(const Options&, Report&) {
  switch (command) {
    case Command::login:
      return runScriptLogin;
    case Command::verify:
      return runScriptVerify;
    case Command::whoami:
      return runScriptWhoami;
    case Command::logout:
      return runScriptLogout;
    case Command::upload:
      return runScriptUpload;
    case Command::albums:
    case Command::media:
    case Command::download:
    case Command::status:
    case Command::sandbox:
    case Command::config:
    case Command::doctor:
      break;
  }
  return nullptr;
}

}  // namespace

int runCommand(const Options& options, Report& report) {
  if (usesScript(options)) return scriptCommand(options.command)(options, report);
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
    case Command::status:
      return runStatus(options, report);
    case Command::sandbox:
      return runSandbox(options, report);
    case Command::doctor:
      return runDoctor(options, report);
    case Command::config:
      return runConfig(options, report);
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
