#include "commands/Commands.h"
#include "host/DataFolders.h"
#include "host/Interrupt.h"
#include "options/Failure.h"
#include "sandbox/Sandbox.h"
#include "sandbox/ScriptServicesFile.h"
#include "system/Files.h"

#include <chrono>
#include <memory>
#include <stdexcept>
#include <thread>

namespace host {
namespace {

sandbox::SandboxOptions sandboxOptions(const Options& options) {
  sandbox::SandboxOptions settings;
  settings.port = options.port;
  settings.stateDir = options.stateDir;
  settings.consent = options.consentAsk ? sandbox::Consent::ask : sandbox::Consent::automatic;
  settings.tls = options.tls;
  settings.twitchUploadWithdrawn = options.withdrawn;
  settings.appId = options.acceptedId.value_or(settings.appId);
  settings.appSecret = options.acceptedSecret.value_or(settings.appSecret);
  settings.appRedirect = options.acceptedRedirect.value_or(settings.appRedirect);
  return settings;
}

void writeConfig(const std::string& path, const std::string& text) {
  if (writeFile(path, text)) return;
  throw Failure(Exit::refused, "the file '" + path + "' of --config-file cannot be written; give another");
}

}  // namespace

int runSandbox(const Options& options, Report& report) {
  if (!options.stateDir.empty()) makePrivateFolder(options.stateDir);
  std::unique_ptr<sandbox::Sandbox> servers;
  std::unique_ptr<sandbox::ScriptServicesFile> services;
  try {
    servers = std::make_unique<sandbox::Sandbox>(sandboxOptions(options));
    services = std::make_unique<sandbox::ScriptServicesFile>(*servers, options.stateDir);
  } catch (const std::runtime_error& error) {
    throw Failure(Exit::refused, std::string("the stand-in servers cannot start: ") + error.what() +
                                     "; try another --port or --state-dir");
  }
  if (!options.configFile.empty()) writeConfig(options.configFile, servers->cloudConfigJson());
  report.sandboxListens({servers->baseUrl(), servers->caFile(), servers->cloudConfigJson(),
                         options.configFile, services->path()});
  while (!interrupted()) std::this_thread::sleep_for(std::chrono::milliseconds(50));
  // Ctrl-C is how servers end, not how they are cut off.
  return Exit::done;
}

}  // namespace host
