// A library that needs another one, and notes how it was loaded.
#include <windows.h>

extern "C" {

__declspec(dllimport) int neededNumber();
__declspec(dllexport) DWORD errorModeAtLoad = 0;

__declspec(dllexport) int numberOfTheNeeded() {
  return neededNumber();
}

BOOL WINAPI DllMain(HINSTANCE, DWORD reason, void*) {
  if (reason == DLL_PROCESS_ATTACH) errorModeAtLoad = GetThreadErrorMode();
  return TRUE;
}
}
