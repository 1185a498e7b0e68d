#pragma once

#include "SqliteTools.h"

#include <string>
#include <vector>

/// The command of a program that saves so many values from number `first` on. With `bytes` no file may grow
/// past that, on POSIX systems.
inline std::vector<std::string> saver(const std::string& path, long first, long count,
                                      const std::string& bytes = "") {
  std::vector<std::string> arguments = {SAVER_PROGRAM, path, key, std::to_string(first),
                                        std::to_string(count)};
  if (!bytes.empty()) arguments.push_back(bytes);
  return arguments;
}
