#include "Commands.h"
#include "DataFolders.h"
#include "Failure.h"
#include "Interrupt.h"
#include "sandbox/Sandbox.h"
#include "sandbox/ScriptServicesFile.h"

#include <chrono>
#include <memory>
#include <stdexcept>
#include <thread>

namespace host {

int runSandbox(const Options& options, Report& report) {
  sandbox::SandboxOptions settings;
  settings.port = options.port;
  settings.stateDir = options.stateDir;
  settings.consent = options.consentAsk ? sandbox::Consent::ask : sandbox::Consent::automatic;
  if (!options.stateDir.empty()) makePrivateFolder(options.stateDir);
  std::unique_ptr<sandbox::Sandbox> servers;
  std::unique_ptr<sandbox::ScriptServicesFile> services;
  try {
    servers = std::make_unique<sandbox::Sandbox>(settings);
    services = std::make_unique<sandbox::ScriptServicesFile>(*servers, options.stateDir);
  } catch (const std::runtime_error& error) {
    throw Failure(Exit::refused, std::string("the stand-in servers cannot start: ") + error.what() +
                                     "; try another --port or --state-dir");
  }
  report.sandboxListens(servers->baseUrl(), servers->cloudConfigJson(), services->path());
  while (!interrupted()) std::this_thread::sleep_for(std::chrono::milliseconds(50));
  return Exit::interrupted;
}

}  // namespace host
