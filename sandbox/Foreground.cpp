#include "sandbox/Foreground.h"

#include "sandbox/Sandbox.h"
#include "sandbox/ScriptServicesFile.h"

#include <csignal>
#include <ctime>
#include <exception>
#include <fstream>
#include <ostream>
#include <stdexcept>

namespace sandbox {

namespace {

volatile std::sig_atomic_t stopWanted = 0;

extern "C" void wantStop(int) {
  stopWanted = 1;
}

// Keeps SIGINT and SIGTERM from this thread and from those that it starts, so that `arrived` finds them: the
// handler is for threads that were there before.
class StopSignals {
 public:
  StopSignals() {
    sigemptyset(&signals_);
    sigaddset(&signals_, SIGINT);
    sigaddset(&signals_, SIGTERM);
    ::pthread_sigmask(SIG_BLOCK, &signals_, &former_);
  }
  ~StopSignals() { ::pthread_sigmask(SIG_SETMASK, &former_, nullptr); }
  StopSignals(const StopSignals&) = delete;
  StopSignals& operator=(const StopSignals&) = delete;

  // Waits for one for 50 ms.
  [[nodiscard]] bool arrived() const {
    const timespec limit{0, 50'000'000};
    return ::sigtimedwait(&signals_, nullptr, &limit) > 0;
  }

 private:
  sigset_t signals_;
  sigset_t former_;
};

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
    while (stopWanted == 0 && !signals.arrived()) continue;
    sandbox.stop();
  } catch (const std::exception& error) {
    errors << "sandbox: " << error.what() << '\n';
    return 1;
  }
  return 0;
}

}  // namespace sandbox
