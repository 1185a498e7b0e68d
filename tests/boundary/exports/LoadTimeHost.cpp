// A host that stands in the way of one function: the library's calls of curl_global_init come here first and
// are written down, those before main, and those after it. An optimised exit handler jumps there straight out
// of the C library, so what counts is that the caller is not the network library, which has calls of its own.

#include <ExternlMediaTransfer/ExternlMediaTransfer.h>

#include <dlfcn.h>
#include <unistd.h>

#include <cstring>
#include <string>

namespace {
void say(const std::string& line) {
  const std::string text = line + "\n";
  if (write(STDOUT_FILENO, text.data(), text.size()) < 0) _exit(3);
}

bool isNetworkLibrary(void* address) {
  Dl_info place{};
  return dladdr(address, &place) != 0 && std::strstr(place.dli_fname, "libBsNet") != nullptr;
}
}  // namespace

extern "C" __attribute__((visibility("default"))) int curl_global_init(long flags) {
  if (!isNetworkLibrary(__builtin_return_address(0))) say("flags " + std::to_string(flags));
  const auto real = reinterpret_cast<int (*)(long)>(dlsym(RTLD_NEXT, "curl_global_init"));
  return real(flags);
}

int main() {
  say("main");
  return getExternlMediaAuthorize(0) == nullptr ? 0 : 1;
}
