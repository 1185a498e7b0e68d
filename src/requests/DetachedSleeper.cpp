#include "requests/DetachedSleeper.h"

#include "foundation/system/System.h"
#include <KblUtils/HostCode.h>
#include <KblUtils/TimeUtil.h>

#include <exception>
#include <utility>

namespace KBL {

namespace {
void sleepAndRun(int milliseconds, const std::function<void()>& action) {
  try {
    TimeUtil::sleepMs(milliseconds);
    action();
  } catch (...) {
    passThreadEnd();
    // A detached thread has nobody to tell.
  }
}
}  // namespace

bool runDetachedAfter(int milliseconds, std::function<void()> action) {
  try {
    return System::startDetached([milliseconds, run = std::move(action)] { sleepAndRun(milliseconds, run); });
  } catch (const std::exception&) {
    return false;
  }
}

}  // namespace KBL
