#include "foundation/system/System.h"

#include <memory>
#include <utility>
#ifdef _MSC_VER
#include <system_error>
#include <thread>
#else
#include <pthread.h>
#endif

namespace KBL::System {

#ifdef _MSC_VER

bool startDetached(std::function<void()> work) {
  try {
    std::thread(std::move(work)).detach();
    return true;
  } catch (const std::system_error&) {
    return false;
  }
}

#else

namespace {
void* runHanded(void* work) {
  const std::unique_ptr<std::function<void()> > own(static_cast<std::function<void()>*>(work));
  (*own)();
  return nullptr;
}
}  // namespace

// Detached from its birth on, which std::thread has no way for: where a thread ends while it is being
// detached, the thread library of mingw-w64 10.0 hands its record out to two later ones, one of which then
// never runs, or runs what is gone.
bool startDetached(std::function<void()> work) {
  auto handed = std::make_unique<std::function<void()> >(std::move(work));
  pthread_attr_t attributes;
  if (pthread_attr_init(&attributes) != 0) return false;
  pthread_t thread;
  const bool started = pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED) == 0 &&
                       pthread_create(&thread, &attributes, runHanded, handed.get()) == 0;
  pthread_attr_destroy(&attributes);
  if (started) (void)handed.release();
  return started;
}

#endif

}  // namespace KBL::System
