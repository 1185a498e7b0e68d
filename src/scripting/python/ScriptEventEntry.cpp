#include "scripting/python/ScriptEventEntry.h"

#include "foundation/neverFreed.h"
#include "scripting/python/PythonCall.h"
#include <KblUtils/HostCode.h>

#include <mutex>
#include <unordered_map>
#include <utility>

namespace KBL {

namespace {

/// Scripts may call while the process ends.
struct Sinks {
  std::mutex mutex;  // a leaf
  std::int64_t lastHandle = 0;
  std::unordered_map<std::int64_t, std::shared_ptr<IUploadEventSink>> byHandle;
};

Sinks& sinks() {
  static Sinks& all = neverFreed<Sinks>();
  return all;
}

std::shared_ptr<IUploadEventSink> findSink(std::int64_t handle) {
  Sinks& all = sinks();
  const std::lock_guard lock(all.mutex);
  const auto found = all.byHandle.find(handle);
  return found == all.byHandle.end() ? nullptr : found->second;
}

}  // namespace

ScriptEventHandle::ScriptEventHandle(std::shared_ptr<IUploadEventSink> sink) {
  Sinks& all = sinks();
  const std::lock_guard lock(all.mutex);
  value_ = ++all.lastHandle;
  all.byHandle.emplace(value_, std::move(sink));
}

ScriptEventHandle::~ScriptEventHandle() {
  Sinks& all = sinks();
  const std::lock_guard lock(all.mutex);
  all.byHandle.erase(value_);
}

void scriptEventEntry(std::intptr_t userObject, std::uint32_t code, const char* text) {
  const ScriptOnStack mark;
  try {
    const std::shared_ptr<IUploadEventSink> sink = findSink(userObject);
    if (sink != nullptr) sink->userCallBack(code, text, 0);
  } catch (...) {
    passThreadEnd();
    // Memory is short: the event is lost, the script goes on.
  }
}

}  // namespace KBL
