#include "foundation/system/System.h"
#include <KblUtils/Process.h>

#include <utility>

namespace KBL {

SharedLibrary::SharedLibrary(void* handle, std::string name) : handle_(handle), name_(std::move(name)) {}

SharedLibrary::~SharedLibrary() {
  System::closeLibrary(handle_);
}

std::unique_ptr<SharedLibrary> SharedLibrary::open(const Path& path, std::string& reason) {
  void* const handle = System::openLibrary(path.string(), reason);
  if (handle == nullptr) return nullptr;
  return std::unique_ptr<SharedLibrary>(new SharedLibrary(handle, path.string()));
}

std::unique_ptr<SharedLibrary> SharedLibrary::loadedWith(const char* symbol) {
  std::string name;
  void* const handle = System::findLoadedLibrary(symbol, name);
  if (handle == nullptr) return nullptr;
  return std::unique_ptr<SharedLibrary>(new SharedLibrary(handle, name));
}

std::vector<std::string> SharedLibrary::fileNames(const std::string& name, const std::string& version) {
  return System::libraryFileNames(name, version);
}

void* SharedLibrary::symbol(const char* name) const {
  return System::librarySymbol(handle_, name);
}

std::string Environment::variable(const char* name) {
  return System::environmentVariable(name);
}

}  // namespace KBL
