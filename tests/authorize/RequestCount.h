#pragma once

#include "support/RecordingLogger.h"

#include <cstddef>

/// How many of the requests whose making the logger has seen live still.
[[nodiscard]] inline std::size_t requestsAlive(const RecordingLogger& logger) {
  std::size_t made = 0;
  std::size_t gone = 0;
  for (const LogLine& line : logger.lines()) {
    if (line.text.rfind("create:", 0) == 0) ++made;
    if (line.text.rfind("release:", 0) == 0) ++gone;
  }
  return made - gone;
}
