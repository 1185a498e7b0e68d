// Loads the shared library named by its argument and closes it again. Ends with 0 when it is mapped still.

#if defined(_WIN32)

#include <windows.h>

int main(int count, char** arguments) {
  if (count < 2) return 2;
  const HMODULE library = LoadLibraryA(arguments[1]);
  if (library == nullptr) return 3;
  FreeLibrary(library);
  return GetModuleHandleA(arguments[1]) == nullptr ? 1 : 0;
}

#else

#include <dlfcn.h>

int main(int count, char** arguments) {
  if (count < 2) return 2;
  void* const library = dlopen(arguments[1], RTLD_NOW);
  if (library == nullptr) return 3;
  dlclose(library);
  return dlopen(arguments[1], RTLD_NOW | RTLD_NOLOAD) == nullptr ? 1 : 0;
}

#endif
