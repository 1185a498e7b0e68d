// Saves settings the way the cache does, to be killed, starved of disk or raced against itself:
//   kblutils_saver PATH KEY FIRST COUNT [BYTES]
// stores COUNT values from number FIRST on, opening the file anew for each, and prints each number once it is
// stored. With BYTES no file may grow past that, which POSIX systems alone know. Ends with 0, or 1 at the
// first save that failed.

#include "SavedValue.h"
#include <KblUtils/KblSqliteUnit.h>

#include <cstdio>
#include <cstdlib>

#if !defined(_WIN32)
#include <sys/resource.h>

#include <csignal>
#endif

namespace {

#if defined(_WIN32)
bool limitFiles(unsigned long) {
  return false;
}
#else
bool limitFiles(unsigned long bytes) {
  (void)std::signal(SIGXFSZ, SIG_IGN);  // the write then fails as on a full disk
  const rlimit limit{bytes, bytes};
  return setrlimit(RLIMIT_FSIZE, &limit) == 0;
}
#endif

bool save(const char* path, const char* key, long number) {
  KBL::KblSqliteUnit unit;
  return unit.open(path) == KBL::resultOk &&
         unit.setSettingValue("AppSetting", key, savedValue(number).c_str()) == KBL::resultOk;
}

}  // namespace

int main(int count, char** arguments) {
  if (count < 5) return 2;
  const long first = std::strtol(arguments[3], nullptr, 10);
  const long last = first + std::strtol(arguments[4], nullptr, 10);
  if (count > 5 && !limitFiles(std::strtoul(arguments[5], nullptr, 10))) return 2;
  for (long number = first; number < last; ++number) {
    if (!save(arguments[1], arguments[2], number)) return 1;
    std::printf("%ld\n", number);
    (void)std::fflush(stdout);
  }
  return 0;
}
