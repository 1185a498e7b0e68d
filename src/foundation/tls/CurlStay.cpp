#include "foundation/tls/CurlStay.h"

#include "foundation/neverFreed.h"
#include "foundation/object/ExitGate.h"

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <mutex>
#include <new>
#include <utility>

namespace KBL {
namespace {

/// More than libcurl's own beat of a second on a stalled transfer, and than a handshake takes that loads a
/// bundle of authorities on a machine with ten times the work it can do.
constexpr std::chrono::milliseconds closingPatience(10000);

/// The outermost stay that the thread is in; null when it is outside.
thread_local CurlStay* current = nullptr;

struct Gate : ExitGate {
  const long process = processNumber();
};

/// What can be reached from here counts as kept.
struct Parked {
  void* object;
  Parked* next;
};
std::atomic<Parked*> firstParked{nullptr};

void closeAtExit();

// Threads that outlive the exit handlers ask it.
Gate& gate() {
  static Gate& instance = []() -> Gate& {
    Gate& made = neverFreed<Gate>();
    setUpTlsLibrary();
    (void)std::atexit(&closeAtExit);
    return made;
  }();
  return instance;
}

}  // namespace

/// Those of all stays, in a list of their own.
struct WakeUps {
  void add(CurlStay::WakeUp& one) {
    const std::lock_guard lock(mutex);
    one.next_ = first;
    one.place_ = &first;
    if (first != nullptr) first->place_ = &one.next_;
    first = &one;
  }

  void remove(CurlStay::WakeUp& one) {
    const std::lock_guard lock(mutex);
    *one.place_ = one.next_;
    if (one.next_ != nullptr) one.next_->place_ = one.place_;
  }

  void callAll() {
    const std::lock_guard lock(mutex);
    for (const CurlStay::WakeUp* one = first; one != nullptr; one = one->next_) one->wake_(one->object_);
  }

  std::mutex mutex;
  CurlStay::WakeUp* first = nullptr;
};

namespace {

WakeUps& wakeUps() {
  static WakeUps& instance = neverFreed<WakeUps>();
  return instance;
}

/// A forked child has none of the threads that were inside, and maybe a mutex that one of them held. So it is
/// in a library of Windows, which has ended the other threads by now. In a program that has all of this in
/// itself they run on there, and nobody waits for them: Windows' TLS library needs no leave.
void closeAtExit() {
  const long process = processNumber();
  if (process == 0 || process != gate().process) return gate().closeAtOnce();
  gate().closeAtOnce();
  wakeUps().callAll();
  gate().close(closingPatience);
}

}  // namespace

CurlStay::CurlStay() : isOutermost_(current == nullptr), isGranted_(!isOutermost_ || gate().enter()) {
  if (!isOutermost_ || !isGranted_) return;
  current = this;
  tls_.putErrorsAside();
}

CurlStay::~CurlStay() {
  if (!isOutermost_ || !isGranted_) return;
  tls_.leave();
  current = nullptr;
  gate().leave();
}

CurlStay::WakeUp::WakeUp(void (*wake)(void* object), void* object) : wake_(wake), object_(object) {
  wakeUps().add(*this);
}

CurlStay::WakeUp::~WakeUp() {
  wakeUps().remove(*this);
}

bool CurlStay::isClosing() {
  return gate().isClosing();
}

CurlStay::Outside::Outside() : stay_(std::exchange(current, nullptr)) {
  if (stay_ == nullptr) return;
  stay_->tls_.putErrorsBack();
  isOut_ = gate().stepOut();
}

CurlStay::Outside::~Outside() {
  if (stay_ == nullptr) return;
  gate().comeBack(isOut_);
  stay_->tls_.putErrorsAside();
  current = stay_;
}

void CurlStay::park(void* object) noexcept {
  auto* const parked = new (std::nothrow) Parked{object, firstParked.load()};
  if (parked == nullptr) return;
  while (!firstParked.compare_exchange_weak(parked->next, parked)) {
  }
}

}  // namespace KBL
