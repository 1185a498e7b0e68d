#include "ProcessUse.h"

#include <sys/resource.h>

#include <fstream>
#include <string>

namespace {

/// The number behind `name` in such a file; 0 where there is none.
long numberIn(const std::string& status, const std::string& name) {
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
  rusage use{};
  ::getrusage(RUSAGE_SELF, &use);
  return use.ru_nvcsw;
}
