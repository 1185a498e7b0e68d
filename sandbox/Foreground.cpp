#include "sandbox/Foreground.h"

#include "sandbox/Sandbox.h"
#include "sandbox/ScriptServicesFile.h"

#include <chrono>
#include <csignal>
#include <exception>
#include <fstream>
#include <ostream>
#include <stdexcept>
#include <thread>

namespace sandbox {

namespace {

volatile std::sig_atomic_t stopWanted = 0;

extern "C" void wantStop(int) {
  stopWanted = 1;
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
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file << text;
  file.close();
  if (!file) throw std::runtime_error("can't write " + path);
}

}  // namespace

int runInForeground(const SandboxOptions& options, const std::string& configFile, std::ostream& output,
                    std::ostream& errors) {
  stopWanted = 0;
  const SignalTaken interrupt(SIGINT);
  const SignalTaken terminate(SIGTERM);
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
    while (stopWanted == 0) std::this_thread::sleep_for(std::chrono::milliseconds(50));
    sandbox.stop();
  } catch (const std::exception& error) {
    errors << "sandbox: " << error.what() << '\n';
    return 1;
  }
  return 0;
}

}  // namespace sandbox
