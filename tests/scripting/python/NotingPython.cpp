// A library that looks like an interpreter and notes every call of it with its arguments, in their order: one
// of 3.8, or with NOTING_NEW_NAMES one that has nothing but what 3.13 calls by a public name. It can be told
// to have no thread of its own, to fail, and what its methods answer.
#include <cstdarg>
#include <mutex>
#include <string>
#include <thread>

#if defined(_WIN32)
#define NOTING_EXPORT __declspec(dllexport)
#else
#define NOTING_EXPORT __attribute__((visibility("default")))
#endif

namespace {

struct Object {
  const char* name;
};

// What the calls give, told by name.
Object code{"code"}, module{"module"}, names{"names"}, factory{"factory"}, instance{"instance"},
    capsule{"capsule"}, mark{"mark"}, arguments{"arguments"}, number{"number"}, text{"text"}, bytes{"bytes"},
    numberType{"type of number"}, textType{"type of text"}, bytesType{"type of bytes"}, repr{"repr"},
    state{"state"}, systemExit{"SystemExit"};

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

std::string told(const Object* object) {
  return object == nullptr ? " null" : std::string(" ") + object->name;
}

/// The values behind a format, as Python's own functions read them.
std::string told(const char* format, va_list& values) {
  std::string all;
  for (const char* kind = format; kind != nullptr && *kind != '\0'; ++kind) {
    if (*kind == 's') {
      const char* const value = va_arg(values, const char*);
      all += value == nullptr ? " None" : std::string(" '") + value + "'";
    } else if (*kind == 'O') {
      all += told(va_arg(values, const Object*));
    } else if (*kind == 'L') {
      all += " " + std::to_string(va_arg(values, long long));
    }
  }
  return all;
}

bool runs = false;
Object* sysMark = nullptr;
void (*markEnd)(Object*) = nullptr;

/// Which thread has the interpreter lock, and how often it took it: whoever takes it takes it away from
/// others.
std::thread::id lockHolder;
int lockDepth = 0;

void holdLock(int depth) {
  const std::lock_guard lock(notesMutex);
  lockHolder = std::this_thread::get_id();
  lockDepth = depth;
}

int depthHere() {
  const std::lock_guard lock(notesMutex);
  return lockHolder == std::this_thread::get_id() ? lockDepth : 0;
}

/// Everything that the library looks up, one name a line.
#define NOTING_NAME(name) #name "\n"
#define NOTING_REST(name)
const char* const allNames =
#include "python_names.h"
    "";
#undef NOTING_NAME
#undef NOTING_REST

}  // namespace

extern "C" {

NOTING_EXPORT int notingHasNoThread = 0;
NOTING_EXPORT int notingFails = 0;
NOTING_EXPORT int notingSystemExit = 0;
/// What methods answer: 't'ext, 'b'ytes, a 'n'umber or, with anything else, nothing, as one that raises.
NOTING_EXPORT int notingAnswer = 't';

/// Everything so far, in a buffer that stays until the next question.
NOTING_EXPORT const char* notingCalls() {
  static std::string all;
  const std::lock_guard lock(notesMutex);
  all = notes();
  return all.c_str();
}

NOTING_EXPORT void notingForget() {
  const std::lock_guard lock(notesMutex);
  notes().clear();
}

NOTING_EXPORT const char* notingNames() {
  return allNames;
}

NOTING_EXPORT Object* PyExc_SystemExit = &systemExit;

#if defined(NOTING_NEW_NAMES)
#define NOTING_GET_UNCHECKED PyThreadState_GetUnchecked
#define NOTING_AS_INT PyLong_AsInt
#else
#define NOTING_GET_UNCHECKED _PyThreadState_UncheckedGet
#define NOTING_AS_INT _PyLong_AsInt

NOTING_EXPORT int Py_UTF8Mode = 0;
NOTING_EXPORT int Py_IgnoreEnvironmentFlag = 0;
NOTING_EXPORT int Py_NoUserSiteDirectory = 0;

NOTING_EXPORT void PyEval_InitThreads() {
  note("PyEval_InitThreads");
}
#endif

NOTING_EXPORT const char* Py_GetVersion() {
  note("Py_GetVersion");
#if defined(NOTING_NEW_NAMES)
  return "3.13.0 (stand-in)";
#else
  return "3.8.20 (stand-in)";
#endif
}

// --- The interpreter's begin and end

NOTING_EXPORT void Py_SetPythonHome(const wchar_t* home) {
  std::string letters;
  for (; *home != L'\0'; ++home) {
    const auto value = std::char_traits<wchar_t>::to_int_type(*home);
    letters += value < 128 ? std::string(1, static_cast<char>(value)) : "<" + std::to_string(value) + ">";
  }
  note("Py_SetPythonHome " + letters);
}

NOTING_EXPORT void Py_Initialize() {
  runs = notingFails == 0;
  holdLock(1);
#if defined(NOTING_NEW_NAMES)
  note("Py_Initialize");
#else
  note("Py_Initialize " + std::to_string(Py_UTF8Mode) + std::to_string(Py_IgnoreEnvironmentFlag) +
       std::to_string(Py_NoUserSiteDirectory));
#endif
}

NOTING_EXPORT int Py_IsInitialized() {
  note("Py_IsInitialized");
  return runs ? 1 : 0;
}

NOTING_EXPORT void Py_Finalize() {
  note("Py_Finalize");
  runs = false;
  holdLock(0);
  Object* const last = sysMark;
  sysMark = nullptr;
  if (last != nullptr && markEnd != nullptr) markEnd(last);
}

// --- Its lock

NOTING_EXPORT Object* NOTING_GET_UNCHECKED() {
  note("PyThreadState_GetUnchecked");
  return notingHasNoThread != 0 ? nullptr : &state;
}

NOTING_EXPORT void PyEval_ReleaseThread(Object* thread) {
  note("PyEval_ReleaseThread" + told(thread));
  holdLock(0);
}

NOTING_EXPORT Object* PyEval_SaveThread() {
  note("PyEval_SaveThread");
  holdLock(0);
  return &state;
}

NOTING_EXPORT void PyEval_RestoreThread(Object* thread) {
  note("PyEval_RestoreThread" + told(thread));
  holdLock(1);
}

NOTING_EXPORT Object* PyGILState_GetThisThreadState() {
  note("PyGILState_GetThisThreadState");
  return depthHere() > 0 ? &state : nullptr;
}

NOTING_EXPORT int PyGILState_Ensure() {
  note("PyGILState_Ensure");
  holdLock(depthHere() + 1);
  return 7;
}

NOTING_EXPORT void PyGILState_Release(int former) {
  note("PyGILState_Release " + std::to_string(former));
  holdLock(depthHere() - 1);
}

// --- Code and modules

NOTING_EXPORT Object* Py_CompileStringExFlags(const char* source, const char* name, int start, void* flags,
                                              int optimisation) {
  note(std::string("Py_CompileStringExFlags '") + source + "' " + name + " " + std::to_string(start) +
       (flags == nullptr ? " null " : " flags ") + std::to_string(optimisation));
  return &code;
}

NOTING_EXPORT int PyRun_SimpleStringFlags(const char* command, void*) {
  note(std::string("PyRun_SimpleStringFlags ") + command);
  return 0;
}

NOTING_EXPORT Object* PyImport_ExecCodeModule(const char* name, Object* compiled) {
  note(std::string("PyImport_ExecCodeModule ") + name + told(compiled));
  return &module;
}

NOTING_EXPORT Object* PyModule_GetDict(Object* object) {
  note("PyModule_GetDict" + told(object));
  return &names;
}

NOTING_EXPORT Object* PyDict_GetItemString(Object* dictionary, const char* key) {
  note("PyDict_GetItemString" + told(dictionary) + " " + key);
  return &factory;
}

// --- Calls and objects

NOTING_EXPORT Object* PyObject_CallFunction(Object* function, const char* format, ...) {
  va_list values;
  va_start(values, format);
  note("PyObject_CallFunction" + told(function) + told(format, values));
  va_end(values);
  return &instance;
}

NOTING_EXPORT Object* PyObject_CallMethod(Object* object, const char* name, const char* format, ...) {
  va_list values;
  va_start(values, format);
  note("PyObject_CallMethod" + told(object) + " " + name + told(format, values));
  va_end(values);
  if (notingAnswer == 't') return &text;
  if (notingAnswer == 'b') return &bytes;
  return notingAnswer == 'n' ? &number : nullptr;
}

NOTING_EXPORT Object* PyCapsule_New(void*, const char* name, void (*destructor)(Object*)) {
  note(std::string("PyCapsule_New ") + name);
  if (destructor == nullptr) return &capsule;
  markEnd = destructor;
  return &mark;
}

NOTING_EXPORT Object* PySys_GetObject(const char* name) {
  note(std::string("PySys_GetObject ") + name);
  return sysMark;
}

NOTING_EXPORT int PySys_SetObject(const char* name, Object* object) {
  note(std::string("PySys_SetObject ") + name + told(object));
  sysMark = object;
  return 0;
}

NOTING_EXPORT Object* Py_BuildValue(const char* format, ...) {
  va_list values;
  va_start(values, format);
  note(std::string("Py_BuildValue ") + format + told(format, values));
  va_end(values);
  return &arguments;
}

NOTING_EXPORT Object* PyObject_Type(Object* object) {
  note("PyObject_Type" + told(object));
  if (object == &text) return &textType;
  return object == &bytes ? &bytesType : &numberType;
}

NOTING_EXPORT unsigned long PyType_GetFlags(Object* type) {
  note("PyType_GetFlags" + told(type));
  if (type == &textType) return 1UL << 28;
  return type == &bytesType ? 1UL << 27 : 0;
}

NOTING_EXPORT Object* PyObject_Repr(Object* object) {
  note("PyObject_Repr" + told(object));
  return &repr;
}

NOTING_EXPORT Object* PyUnicode_AsUTF8String(Object* object) {
  note("PyUnicode_AsUTF8String" + told(object));
  return &bytes;
}

NOTING_EXPORT Object* PyUnicode_AsEncodedString(Object* object, const char* encoding, const char* errors) {
  note("PyUnicode_AsEncodedString" + told(object) + " " + encoding + " " + errors);
  return &bytes;
}

NOTING_EXPORT const char* PyBytes_AsString(Object* object) {
  note("PyBytes_AsString" + told(object));
  return "answer";
}

NOTING_EXPORT long PyLong_AsLong(Object* object) {
  note("PyLong_AsLong" + told(object));
  return 41;
}

NOTING_EXPORT int NOTING_AS_INT(Object* object) {
  note("PyLong_AsInt" + told(object));
  return 42;
}

NOTING_EXPORT void Py_IncRef(Object* object) {
  note("Py_IncRef" + told(object));
}

NOTING_EXPORT void Py_DecRef(Object* object) {
  note("Py_DecRef" + told(object));
}

// --- Errors

NOTING_EXPORT int PyErr_ExceptionMatches(Object* exception) {
  note("PyErr_ExceptionMatches" + told(exception));
  return notingSystemExit;
}

NOTING_EXPORT void PyErr_Print() {
  note("PyErr_Print");
}

NOTING_EXPORT void PyErr_WriteUnraisable(Object* object) {
  note("PyErr_WriteUnraisable" + told(object));
}

NOTING_EXPORT void PyErr_Clear() {
  note("PyErr_Clear");
}

// What the library looks up beyond that.
#define NOTING_NAME(name)
#define NOTING_REST(name)      \
  NOTING_EXPORT void* name() { \
    note(#name);               \
    return nullptr;            \
  }
#include "python_names.h"

}  // extern "C"
