#include "system/Browser.h"

#include <string_view>

#if defined(_WIN32)
#include <windows.h>
// windows.h has to come first
#include <shellapi.h>
#else
#include <fcntl.h>
#include <spawn.h>
#include <unistd.h>

#include <cstdlib>
#endif

namespace host {
namespace {

// The address comes from a server: nothing but a web page may be opened with it.
bool isWebAddress(std::string_view url) {
  return url.starts_with("http://") || url.starts_with("https://");
}

}  // namespace

#if defined(_WIN32)

bool openBrowser(const std::string& url) {
  if (!isWebAddress(url)) return false;
  // A web address is ASCII.
  return reinterpret_cast<INT_PTR>(
             ShellExecuteA(nullptr, "open", url.c_str(), nullptr, nullptr, SW_SHOWNORMAL)) > 32;
}

#else

namespace {

bool hasDisplay() {
#if defined(__APPLE__)
  return true;
#else
  return std::getenv("DISPLAY") != nullptr || std::getenv("WAYLAND_DISPLAY") != nullptr;
#endif
}

#if defined(__APPLE__)
constexpr const char* opener = "open";
#else
constexpr const char* opener = "xdg-open";
#endif

}  // namespace

bool openBrowser(const std::string& url) {
  if (!isWebAddress(url) || !hasDisplay()) return false;
  posix_spawn_file_actions_t actions;
  if (posix_spawn_file_actions_init(&actions) != 0) return false;
  // The browser's own chatter must not get among the program's lines.
  for (const int descriptor : {0, 1, 2}) {
    posix_spawn_file_actions_addopen(&actions, descriptor, "/dev/null", O_RDWR, 0);
  }
  std::string program = opener;
  std::string address = url;
  char* const arguments[] = {program.data(), address.data(), nullptr};
  pid_t child = 0;
  const bool started = posix_spawnp(&child, opener, &actions, nullptr, arguments, environ) == 0;
  posix_spawn_file_actions_destroy(&actions);
  return started;
}

#endif

}  // namespace host
