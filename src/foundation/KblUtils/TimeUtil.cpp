#include "foundation/KblUtils/TimeUtil.h"

#include "foundation/KblUtils/TimeSource.h"
#include "foundation/KblUtils/system/System.h"

#include <ctime>
#include <iomanip>
#include <locale>
#include <sstream>

namespace KBL {

std::uint64_t TimeUtil::nowSinceEpoch() {
  return timeSource()->nowSinceEpochMs();
}

std::string TimeUtil::now(const std::string& format) {
  std::tm broken{};
  if (!System::localTime(static_cast<std::time_t>(nowSinceEpoch() / 1000), broken)) return {};
  std::ostringstream text;
  text.imbue(std::locale::classic());
  text << std::put_time(&broken, format.c_str());
  return text.str();
}

void TimeUtil::sleepMs(int milliseconds) {
  const std::shared_ptr<ITimeSource> source = timeSource();
  const std::int64_t deadline = source->steadyMs() + milliseconds;
  std::mutex mutex;
  std::condition_variable nobodyNotifies;
  std::unique_lock lock(mutex);
  while (source->steadyMs() < deadline) source->wait(nobodyNotifies, lock, deadline);
}

}  // namespace KBL
