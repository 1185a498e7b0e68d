// Embeds an interpreter the way a host does, to see that a Python home is complete:
//   python_probe LIBRARY HOME STATEMENTS
// Ends with 0 when the statements ran.
#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>
#include <vector>

namespace {

template <class Function>
Function resolve(void* library, const char* name) {
  void* const address = dlsym(library, name);
  if (address == nullptr) {
    std::fprintf(stderr, "no %s\n", name);
    std::exit(2);
  }
  return reinterpret_cast<Function>(address);
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 4) return 2;
  // Extension modules look for the interpreter's functions among the names of the process.
  void* const library = dlopen(arguments[1], RTLD_NOW | RTLD_GLOBAL);
  if (library == nullptr) {
    std::fprintf(stderr, "%s\n", dlerror());
    return 2;
  }
  const auto decode = resolve<wchar_t* (*)(const char*, std::size_t*)>(library, "Py_DecodeLocale");
  resolve<void (*)(const wchar_t*)>(library, "Py_SetPythonHome")(decode(arguments[2], nullptr));
  resolve<void (*)()>(library, "Py_Initialize")();
  const int result =
      resolve<int (*)(const char*, void*)>(library, "PyRun_SimpleStringFlags")(arguments[3], nullptr);
  resolve<void (*)()>(library, "Py_Finalize")();
  return result == 0 ? 0 : 1;
}
