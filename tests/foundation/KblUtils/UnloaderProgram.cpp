// Loads the shared library named by its argument and closes it again. Ends with 0 when it is mapped still.

#include <dlfcn.h>

int main(int count, char** arguments) {
  if (count < 2) return 2;
  void* const library = dlopen(arguments[1], RTLD_NOW);
  if (library == nullptr) return 3;
  dlclose(library);
  return dlopen(arguments[1], RTLD_NOW | RTLD_NOLOAD) == nullptr ? 1 : 0;
}
