// A library that looks like an interpreter of 3.8 and notes, in their order, the calls that begin and end
// one. It can be told to have no thread of its own, and to fail.
#include <mutex>
#include <string>

#define NOTING_EXPORT __attribute__((visibility("default")))

namespace {
std::mutex notesMutex;
// Goes with the library, which may be unloaded.
std::string& notes() {
  static std::string value;
  return value;
}

void note(const std::string& call) {
  const std::lock_guard lock(notesMutex);
  notes() += call + "\n";
}

int marker = 0;
void* mark = nullptr;
}  // namespace

extern "C" {

NOTING_EXPORT int notingHasNoThread = 0;
NOTING_EXPORT int notingFails = 0;
/// Everything so far, in a buffer that stays until the next question.
NOTING_EXPORT const char* notingCalls() {
  static std::string told;
  const std::lock_guard lock(notesMutex);
  told = notes();
  return told.c_str();
}

NOTING_EXPORT int Py_UTF8Mode = 0;
NOTING_EXPORT int Py_IgnoreEnvironmentFlag = 0;
NOTING_EXPORT int Py_NoUserSiteDirectory = 0;
NOTING_EXPORT void* PyExc_SystemExit = nullptr;

NOTING_EXPORT const char* Py_GetVersion() {
  return "3.8.20 (stand-in)";
}

NOTING_EXPORT void Py_SetPythonHome(const wchar_t* home) {
  note("Py_SetPythonHome " + std::string(home, home + std::char_traits<wchar_t>::length(home)));
}

namespace {
bool runs = false;
}

NOTING_EXPORT void Py_Initialize() {
  runs = notingFails == 0;
  note("Py_Initialize " + std::to_string(Py_UTF8Mode) + std::to_string(Py_IgnoreEnvironmentFlag) +
       std::to_string(Py_NoUserSiteDirectory));
}

NOTING_EXPORT int Py_IsInitialized() {
  return runs ? 1 : 0;
}

NOTING_EXPORT void PyEval_InitThreads() {
  note("PyEval_InitThreads");
}

NOTING_EXPORT int PyRun_SimpleStringFlags(const char* command, void*) {
  note(std::string("PyRun_SimpleStringFlags ") + command);
  return 0;
}

NOTING_EXPORT void* _PyThreadState_UncheckedGet() {
  note("_PyThreadState_UncheckedGet");
  return notingHasNoThread != 0 ? nullptr : &marker;
}

NOTING_EXPORT void PyEval_ReleaseThread(void* state) {
  note(state == &marker ? "PyEval_ReleaseThread" : "PyEval_ReleaseThread of another");
}

NOTING_EXPORT int PyGILState_Ensure() {
  note("PyGILState_Ensure");
  return 7;
}

NOTING_EXPORT void PyGILState_Release(int state) {
  note("PyGILState_Release " + std::to_string(state));
}

NOTING_EXPORT void Py_Finalize() {
  runs = false;
  note("Py_Finalize");
}

NOTING_EXPORT void* PyCapsule_New(void*, const char*, void (*)(void*)) {
  return &marker;
}

NOTING_EXPORT int PySys_SetObject(const char*, void* object) {
  mark = object;
  return 0;
}

NOTING_EXPORT void* PySys_GetObject(const char*) {
  return mark;
}

// What is looked up and not called.
#define NOTING_UNUSED(name)    \
  NOTING_EXPORT void* name() { \
    return nullptr;            \
  }
NOTING_UNUSED(PyEval_SaveThread)
NOTING_UNUSED(PyEval_RestoreThread)
NOTING_UNUSED(PyGILState_GetThisThreadState)
NOTING_UNUSED(Py_CompileStringExFlags)
NOTING_UNUSED(PyImport_ExecCodeModule)
NOTING_UNUSED(PyModule_GetDict)
NOTING_UNUSED(PyDict_GetItemString)
NOTING_UNUSED(PyObject_CallFunction)
NOTING_UNUSED(PyObject_CallMethod)
NOTING_UNUSED(Py_BuildValue)
NOTING_UNUSED(PyObject_Type)
NOTING_UNUSED(PyType_GetFlags)
NOTING_UNUSED(PyObject_Repr)
NOTING_UNUSED(PyUnicode_AsUTF8String)
NOTING_UNUSED(PyUnicode_AsEncodedString)
NOTING_UNUSED(PyBytes_AsString)
NOTING_UNUSED(PyLong_AsLong)
NOTING_UNUSED(_PyLong_AsInt)
NOTING_UNUSED(Py_IncRef)
NOTING_UNUSED(Py_DecRef)
NOTING_UNUSED(PyErr_ExceptionMatches)
NOTING_UNUSED(PyErr_Print)
NOTING_UNUSED(PyErr_WriteUnraisable)
NOTING_UNUSED(PyErr_Clear)

}  // extern "C"
