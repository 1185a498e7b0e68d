#include "sandbox/Foreground.h"

#include "sandbox/Sandbox.h"
#include "sandbox/ScriptServicesFile.h"
#include "sandbox/system/NativePath.h"
#include "sandbox/system/StopSignals.h"

#include <atomic>
#include <csignal>
#include <exception>
#include <fstream>
#include <ostream>
#include <stdexcept>

namespace sandbox {

namespace {

// Some systems run the handler on a thread of its own.
std::atomic<bool> stopWanted{false};
static_assert(std::atomic<bool>::is_always_lock_free, "a signal handler may touch only lock-free atomics");

extern "C" void wantStop(int) {
  stopWanted = true;
}

// Puts the former handling of a signal back at the end of its scope.
class SignalTaken {
 public:
  explicit SignalTaken(int signal) : signal_(signal), former_(std::signal(signal, wantStop)) {}
  ~SignalTaken() { static_cast<void>(std::signal(signal_, former_)); }
  SignalTaken(const SignalTaken&) = delete;
  SignalTaken& operator=(const SignalTaken&) = delete;

 private:
  using Handler = void (*)(int);
  const int signal_;
  const Handler former_;
};

void writeConfig(const std::string& path, const std::string& text) {
  std::ofstream file(nativePath(path), std::ios::binary | std::ios::trunc);
  file << text;
  file.close();
  if (!file) throw std::runtime_error("can't write " + path);
}

}  // namespace

int runInForeground(const SandboxOptions& options, const std::string& configFile, std::ostream& output,
                    std::ostream& errors) {
  stopWanted = false;
  const SignalTaken interrupt(SIGINT);
  const SignalTaken terminate(SIGTERM);
  const StopSignals signals;
  try {
    Sandbox sandbox(options);
    output << "sandbox listening on " << sandbox.baseUrl() << '\n';
    if (!sandbox.caFile().empty()) output << "certificate authority: " << sandbox.caFile() << '\n';
    const ScriptServicesFile services(sandbox, options.stateDir);
    output << "script services: " << services.path() << '\n';
    if (configFile.empty()) {
      output << sandbox.cloudConfigJson();
    } else {
      writeConfig(configFile, sandbox.cloudConfigJson());
      output << "cloud configuration: " << configFile << '\n';
    }
    output.flush();
    while (!stopWanted && !signals.arrived()) continue;
    sandbox.stop();
  } catch (const std::exception& error) {
    errors << "sandbox: " << error.what() << '\n';
    return 1;
  }
  return 0;
}

}  // namespace sandbox
