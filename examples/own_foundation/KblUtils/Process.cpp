// The environment, and libraries that are loaded while the process runs. A host without scripts may answer
// null and nothing here.
#include <KblUtils/Process.h>

#include <dlfcn.h>

#include <cstdlib>
#include <utility>

namespace KBL {

std::string Environment::variable(const char* name) {
  const char* const value = std::getenv(name);
  return value != nullptr ? value : "";
}

SharedLibrary::SharedLibrary(void* handle, std::string name) : handle_(handle), name_(std::move(name)) {}

SharedLibrary::~SharedLibrary() {
  (void)dlclose(handle_);
}

std::unique_ptr<SharedLibrary> SharedLibrary::open(const Path& path, std::string& reason) {
  void* const handle = dlopen(path.string().c_str(), RTLD_NOW | RTLD_GLOBAL);
  if (handle != nullptr) return std::unique_ptr<SharedLibrary>(new SharedLibrary(handle, path.string()));
  const char* const why = dlerror();
  reason = why != nullptr ? why : "";
  return nullptr;
}

std::unique_ptr<SharedLibrary> SharedLibrary::loadedWith(const char* symbol) {
  void* const handle = dlopen(nullptr, RTLD_NOW);
  if (handle == nullptr) return nullptr;
  std::unique_ptr<SharedLibrary> whole(new SharedLibrary(handle, ""));
  return whole->symbol(symbol) != nullptr ? std::move(whole) : nullptr;
}

std::vector<std::string> SharedLibrary::fileNames(const std::string& name, const std::string& version) {
  return {"lib" + name + version + ".so.1.0", "lib" + name + version + ".so"};
}

void* SharedLibrary::symbol(const char* name) const {
  return dlsym(handle_, name);
}

}  // namespace KBL
