// A library that looks like an interpreter and is none: of the version that STAND_IN_VERSION tells. In the
// environment it leaves a note that it was loaded.
#include <cstdlib>

#if defined(_WIN32)
#define STAND_IN_EXPORT __declspec(dllexport)
[[maybe_unused]] static const int noted = _putenv_s("STAND_IN_WAS_LOADED", "1");
#else
#define STAND_IN_EXPORT __attribute__((visibility("default")))
[[maybe_unused]] static const int noted = setenv("STAND_IN_WAS_LOADED", "1", 1);
#endif

extern "C" {

STAND_IN_EXPORT void Py_Initialize() {}

STAND_IN_EXPORT int Py_IsInitialized() {
  return 0;
}

STAND_IN_EXPORT const char* Py_GetVersion() {
  return STAND_IN_VERSION;
}

}  // extern "C"
