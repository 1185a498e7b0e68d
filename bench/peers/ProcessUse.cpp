#include "ProcessUse.h"

#include <filesystem>
#include <fstream>
#include <string>

namespace {

/// The number behind `name` in such a file; 0 where there is none, as of a thread that has ended.
long numberIn(const std::filesystem::path& status, const std::string& name) {
  std::ifstream file(status);
  for (std::string line; std::getline(file, line);) {
    if (line.starts_with(name)) return std::stol(line.substr(name.size()));
  }
  return 0;
}

}  // namespace

long peakKiB() {
  return numberIn("/proc/self/status", "VmHWM:");
}

long wakeUps() {
  long all = 0;
  for (const auto& thread : std::filesystem::directory_iterator("/proc/self/task")) {
    all += numberIn(thread.path() / "status", "voluntary_ctxt_switches:");
  }
  return all;
}
