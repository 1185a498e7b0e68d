// What the start of a host costs: LIBRARY CACHE. Loads the library, makes and initialises its four managers;
// with
// "-" nothing at all.
#include <ExternlMediaTransfer/ExternlMediaTransfer.h>
#include <ExternlMediaTransfer/IBsExternlMediaAuthorize.h>

#include <dlfcn.h>

#include <string>

namespace {

/// The library is loaded as a host with plug-ins does, so that a program without it can be compared.
template <class Function>
Function symbol(void* library, const char* name) {
  return reinterpret_cast<Function>(::dlsym(library, name));
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 3) return 2;
  const std::string cache = arguments[2];
  if (cache == "-") return 0;
  void* const library = ::dlopen(arguments[1], RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) return 3;
  using Make = decltype(&getOrCreateExternlMediaAuthorize);
  const auto make = symbol<Make>(library, "getOrCreateExternlMediaAuthorize");
  if (make == nullptr) return 3;
  for (const auto platform : {KBL::ema_youtube, KBL::ema_vimeo, KBL::ema_tiktok, KBL::ema_douyin}) {
    KBL::IBsExternlMediaAuthorize* const manager = make(platform);
    if (manager == nullptr || manager->init(cache.c_str(), 0) != KBL::resultOk) return 4;
  }
  return 0;
}
