#include "foundation/Texts.h"
#include "foundation/system/System.h"

#include <dlfcn.h>
#if !defined(__APPLE__)
#include <link.h>
#endif

#include <cstdlib>

namespace KBL::System {

namespace {

constexpr int visibleToLaterLibraries = RTLD_NOW | RTLD_GLOBAL;

#if !defined(__APPLE__)
/// Collects names only: no library may be opened while the loader walks its list.
int collectName(dl_phdr_info* info, std::size_t, void* names) {
  if (info->dlpi_name != nullptr && *info->dlpi_name != '\0') {
    static_cast<std::vector<std::string>*>(names)->emplace_back(info->dlpi_name);
  }
  return 0;
}
#endif

std::vector<std::string> namesOfLoadedLibraries() {
  std::vector<std::string> names;
#if !defined(__APPLE__)
  (void)dl_iterate_phdr(collectName, &names);
#endif
  return names;
}

/// True when the symbol stands in the library itself, not only in one that it needs.
bool ownsSymbol(void* address, const std::string& library) {
  Dl_info place{};
  return dladdr(address, &place) != 0 && place.dli_fname != nullptr && library == place.dli_fname;
}

}  // namespace

void* openLibrary(const std::string& path, std::string& reason) {
  void* const handle = dlopen(path.c_str(), visibleToLaterLibraries);
  if (handle != nullptr) return handle;
  const char* const error = dlerror();
  reason = error == nullptr ? "unknown reason" : error;
  return nullptr;
}

void* findLoadedLibrary(const char* symbol, std::string& name) {
  void* const program = dlopen(nullptr, RTLD_NOW);
  if (program != nullptr && dlsym(program, symbol) != nullptr) {
    name.clear();
    return program;
  }
  if (program != nullptr) (void)dlclose(program);
  for (const std::string& loaded : namesOfLoadedLibraries()) {
    void* handle = dlopen(loaded.c_str(), RTLD_NOW | RTLD_NOLOAD);
    if (handle == nullptr) continue;
    void* const address = dlsym(handle, symbol);
    const bool found = address != nullptr && ownsSymbol(address, loaded);
    (void)dlclose(handle);
    if (!found) continue;
    name = loaded;
    // What a plug-in of the host's loaded for itself alone becomes visible here.
    return dlopen(loaded.c_str(), visibleToLaterLibraries | RTLD_NOLOAD);
  }
  return nullptr;
}

void* librarySymbol(void* library, const char* name) {
  return dlsym(library, name);
}

std::vector<std::string> libraryFileNames(const std::string& name, const std::string& version) {
  const std::string stem = "lib" + name + version;
#if defined(__APPLE__)
  return {stem + ".dylib"};
#else
  return {stem + ".so.1.0", stem + ".so"};
#endif
}

void closeLibrary(void* library) {
  (void)dlclose(library);
}

std::string environmentVariable(const char* name) {
  return textOrEmpty(std::getenv(name));
}

}  // namespace KBL::System
