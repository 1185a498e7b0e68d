#pragma once

#include "scripting/python/ScriptHome.h"
#include "support/WaitUntil.h"

#include <cstddef>
#include <filesystem>
#include <iterator>
#include <thread>

inline std::size_t threadsOfTheProcess() {
  const std::filesystem::directory_iterator tasks("/proc/self/task");
  return static_cast<std::size_t>(std::distance(begin(tasks), end(tasks)));
}

/// The threads that there are before a test makes any; a sanitizer makes one of its own beside the first.
inline std::size_t threadsAtStart() {
  std::thread([] {}).join();
  return threadsOfTheProcess();
}

/// Waits until daemon threads of scripts, which come back to an interpreter that has ended, are gone.
/// Python 3.8 does not end them but lets them wait for ever.
inline bool daemonThreadsEnd(std::size_t before) {
  if (testedPython().stdlib.filename() == "python3.8") return true;
  return waitUntil([&] { return threadsOfTheProcess() <= before; });
}
