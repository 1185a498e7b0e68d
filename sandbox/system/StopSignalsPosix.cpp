#include "sandbox/system/StopSignals.h"

#include <csignal>
#include <ctime>

namespace sandbox {

struct StopSignals::Masks {
  sigset_t signals;
  sigset_t former;
};

StopSignals::StopSignals() : masks_(std::make_unique<Masks>()) {
  sigemptyset(&masks_->signals);
  sigaddset(&masks_->signals, SIGINT);
  sigaddset(&masks_->signals, SIGTERM);
  ::pthread_sigmask(SIG_BLOCK, &masks_->signals, &masks_->former);
}

StopSignals::~StopSignals() {
  ::pthread_sigmask(SIG_SETMASK, &masks_->former, nullptr);
}

bool StopSignals::arrived() const {
  const timespec limit{0, 50'000'000};
  return ::sigtimedwait(&masks_->signals, nullptr, &limit) > 0;
}

}  // namespace sandbox
