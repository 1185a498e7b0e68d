// A host that closes the library while it still holds a manager of it: the code must stay mapped.

#include "authorize/switchboard/IBsExternlMediaAuthorize.h"

#include <dlfcn.h>

#include <cstdio>

int main(int argumentCount, char** arguments) {
  if (argumentCount != 2) return 2;
  void* const library = dlopen(arguments[1], RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) {
    std::fprintf(stderr, "%s\n", dlerror());
    return 2;
  }
  using MakeManager = KBL::IBsExternlMediaAuthorize* (*)(int);
  const auto makeManager = reinterpret_cast<MakeManager>(dlsym(library, "getOrCreateExternlMediaAuthorize"));
  if (makeManager == nullptr) return 2;
  KBL::IBsExternlMediaAuthorize* const manager = makeManager(0);
  dlclose(library);
  const bool mapped = manager->platform() == 0 && makeManager(0) == manager;
  return mapped && manager->Release() == 0 ? 0 : 1;
}
