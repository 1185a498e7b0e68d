#include "commands/Commands.h"
#include "host/DataFolders.h"
#include "host/Interrupt.h"
#include "options/Failure.h"
#include "sandbox/Sandbox.h"
#include "sandbox/ScriptServicesFile.h"
#include "sandbox/base/Masking.h"
#include "system/Files.h"

#include <chrono>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <thread>

namespace host {
namespace {

sandbox::SandboxOptions sandboxOptions(const Options& options) {
  sandbox::SandboxOptions settings;
  settings.port = options.port;
  settings.page = true;
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
  throw Failure(Cause::file, "the file '" + path + "' of --config-file cannot be written; give another");
}

/// One line an exchange, told when it has ended. A look takes in all that ended since the former one.
class ExchangeLines {
 public:
  ExchangeLines(const sandbox::Sandbox& servers, Report& report) : servers_(servers), report_(report) {}

  void tellNews() {
    const sandbox::ExchangeNews news = servers_.exchangesSince(change_);
    change_ = news.change;
    for (const sandbox::ExchangeRecord& exchange : news.exchanges) {
      if (exchange.ended) tell(exchange);
    }
  }

 private:
  void tell(const sandbox::ExchangeRecord& exchange) {
    report_.served({std::string(sandbox::routeName(exchange.route)), exchange.method,
                    sandbox::maskedText(exchange.target), exchange.status, exchange.duration.count(),
                    exchange.requestSize, exchange.replySize, exchange.fault.has_value()});
  }

  const sandbox::Sandbox& servers_;
  Report& report_;
  std::uint64_t change_ = 0;
};

}  // namespace

int runSandbox(const Options& options, Report& report) {
  if (!options.stateDir.empty()) makePrivateFolder(options.stateDir);
  std::unique_ptr<sandbox::Sandbox> servers;
  std::unique_ptr<sandbox::ScriptServicesFile> services;
  try {
    servers = std::make_unique<sandbox::Sandbox>(sandboxOptions(options));
    services = std::make_unique<sandbox::ScriptServicesFile>(*servers, options.stateDir);
  } catch (const std::runtime_error& error) {
    throw Failure(Cause::call, std::string("the stand-in servers cannot start: ") + error.what() +
                                   "; try another --port or --state-dir");
  }
  if (!options.configFile.empty()) writeConfig(options.configFile, servers->cloudConfigJson());
  report.sandboxListens({servers->baseUrl(), servers->caFile(), servers->cloudConfigJson(),
                         options.configFile, services->path()});
  ExchangeLines lines(*servers, report);
  while (!interrupted()) {
    if (options.verbosity > 0) lines.tellNews();
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  }
  if (options.verbosity > 0) lines.tellNews();
  // Ctrl-C is how servers end, not how they are cut off.
  return Exit::done;
}

}  // namespace host
