// Embeds an interpreter the way a host does, to see that a Python home is complete:
//   python_probe LIBRARY HOME STATEMENTS [same]
// Ends with 0 when the statements ran. They run on a thread that is gone when the interpreter ends, or with
// `same` on the one that starts and ends it.
#include <dlfcn.h>

#include <codecvt>
#include <cstdio>
#include <cstdlib>
#include <locale>
#include <string>
#include <thread>

namespace {

template <class Function>
Function resolve(void* library, const char* name) {
  void* const address = dlsym(library, name);
  if (address == nullptr) {
    (void)std::fprintf(stderr, "no %s\n", name);
    std::exit(2);
  }
  return reinterpret_cast<Function>(address);
}

// Whatever the locale says: the interpreter is told the same as on a host's behalf.
std::wstring wideFromUtf8(const char* text) {
  std::wstring wide;
  for (const char32_t letter :
       std::wstring_convert<std::codecvt_utf8<char32_t>, char32_t>().from_bytes(text)) {
    wide.push_back(static_cast<wchar_t>(letter));
  }
  return wide;
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 4 && count != 5) return 2;
  // Extension modules look for the interpreter's functions among the names of the process.
  void* const library = dlopen(arguments[1], RTLD_NOW | RTLD_GLOBAL);
  if (library == nullptr) {
    (void)std::fprintf(stderr, "%s\n", dlerror());
    return 2;
  }
  const auto enter = resolve<int (*)()>(library, "PyGILState_Ensure");
  const auto leave = resolve<void (*)(int)>(library, "PyGILState_Release");
  const auto run = resolve<int (*)(const char*, void*)>(library, "PyRun_SimpleStringFlags");
  const std::wstring home = wideFromUtf8(arguments[2]);
  resolve<void (*)(const wchar_t*)>(library, "Py_SetPythonHome")(home.c_str());
  // Paths are UTF-8, whatever the locale of the process.
  *resolve<int*>(library, "Py_UTF8Mode") = 1;
  resolve<void (*)()>(library, "Py_Initialize")();
  // As the library does: CPython 3.8 expects at its end that the thread which first imported this is still
  // there.
  if (run("import threading", nullptr) != 0) return 2;
  resolve<void* (*)()>(library, "PyEval_SaveThread")();
  int result = 0;
  const auto work = [&] {
    const int state = enter();
    result = run(arguments[3], nullptr);
    leave(state);
  };
  if (count == 5) {
    work();
  } else {
    std::thread(work).join();
  }
  enter();
  resolve<void (*)()>(library, "Py_Finalize")();
  return result == 0 ? 0 : 1;
}
