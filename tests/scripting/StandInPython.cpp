// A library that looks like an interpreter and is none: of the version that STAND_IN_VERSION tells. In the
// environment it leaves a note that it was loaded.
#include <cstdlib>

[[maybe_unused]] static const int noted = setenv("STAND_IN_WAS_LOADED", "1", 1);

extern "C" {

__attribute__((visibility("default"))) int Py_IsInitialized() {
  return 0;
}

__attribute__((visibility("default"))) const char* Py_GetVersion() {
  return STAND_IN_VERSION;
}

}  // extern "C"
