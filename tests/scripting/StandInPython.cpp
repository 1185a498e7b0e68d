// A library that looks like an interpreter and is none: of the version that STAND_IN_VERSION tells.
extern "C" {

__attribute__((visibility("default"))) int Py_IsInitialized() {
  return 0;
}

__attribute__((visibility("default"))) const char* Py_GetVersion() {
  return STAND_IN_VERSION;
}

}  // extern "C"
