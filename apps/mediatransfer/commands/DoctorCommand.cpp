#include "commands/Commands.h"
#include "host/Checkup.h"
#include "host/Host.h"
#include "host/Interrupt.h"
#include "sandbox/Sandbox.h"
#include "system/Files.h"
#include <KblUtils/Process.h>

#include <optional>
#include <stdexcept>
#include <utility>

namespace host {
namespace {

using State = Check::State;

/// Looks at everything that a command would use, and changes none of it.
class DoctorJob {
 public:
  DoctorJob(const Options& options, Report& report) : options_(options), report_(report) {}

  int run() {
    show(checkConfiguration(options_));
    checkServers();
    if (interrupted()) return Exit::interrupted;
    const int faults = count_.faults;
    show(checkStorage(options_));
    // Who opens a login without its key makes another key.
    if (count_.faults == faults) show(checkLogins(options_, report_));
    show(checkScripts(options_, report_));
    report_.checksEnd(count_);
    return count_.faults == 0 ? Exit::done : Exit::refused;
  }

 private:
  void show(const std::vector<Check>& checks) {
    for (const Check& check : checks) show(check);
  }
  void show(const Check& check) {
    if (check.state == State::fault) ++count_.faults;
    if (check.state == State::warning) ++count_.warnings;
    report_.checked(check);
  }

  /// The addresses of the configuration, and what can be told from their answers.
  void checkServers() {
    std::optional<Host> host;
    try {
      host.emplace(options_, report_, Servers::optional);
      proxy_ = options_.proxy.empty() ? std::nullopt : std::optional(parseProxyUrl(options_.proxy));
    } catch (const Failure& failure) {
      show(checkOf("servers", failure));
      return;
    }
    const std::vector<Address> addresses = usedAddresses(*host);
    if (!options_.sandbox && options_.cloudConfigFile.empty()) {
      show({"servers", State::warning, "none are configured, which youtube, tiktok and douyin need",
            "give --cloud-config FILE, or --sandbox to use stand-in servers"});
    }
    probe(addresses);
  }

  std::vector<Address> usedAddresses(const Host& host) const {
    std::string table = host.sandboxConfig();
    if (!options_.cloudConfigFile.empty()) table = contentsOf(options_.cloudConfigFile);
    std::vector<Address> addresses = addressesOf(table);
    const std::string services = KBL::Environment::variable("MEDIATRANSFER_SERVICES");
    if (!options_.sandbox && !services.empty()) {
      for (Address& address : addressesOf(contentsOf(services))) addresses.push_back(std::move(address));
    }
    return addresses;
  }

  void probe(const std::vector<Address>& addresses) {
    std::vector<std::string> asked;
    for (const Address& address : addresses) asked.push_back(address.origin);
    report_.waitsFor("the addresses to answer");
    const auto results = ask(asked, proxy_);
    report_.waitsFor({});
    if (!results) return;
    for (std::size_t i = 0; i < addresses.size(); ++i) {
      show(checkReply(addresses[i], results->at(i), proxy_.has_value()));
    }
    show(checkClock(*results));
    tryAuthorities();
  }

  /// With a stranger of this process, so that no server has to be there for it.
  void tryAuthorities() {
    sandbox::SandboxOptions settings;
    settings.tls = true;
    try {
      const sandbox::Sandbox stranger(settings);
      const auto result = ask({stranger.baseUrl()}, std::nullopt);
      if (result) show(checkAuthorities(result->front()));
    } catch (const std::runtime_error& error) {
      show({"certificates", State::warning,
            std::string("the system's authorities could not be tried (") + error.what() + ")",
            "check the folder of temporary files"});
    }
  }

  std::optional<std::vector<ProbeResult>> ask(const std::vector<std::string>& addresses,
                                              const std::optional<ProxyAddress>& proxy) {
    return probeAddresses(addresses, proxy, [this] {
      report_.tick();
      return !interrupted();
    });
  }

  const Options& options_;
  Report& report_;
  std::optional<ProxyAddress> proxy_;
  CheckCount count_;
};

}  // namespace

int runDoctor(const Options& options, Report& report) {
  return DoctorJob(options, report).run();
}

}  // namespace host
