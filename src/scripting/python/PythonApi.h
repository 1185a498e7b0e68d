#pragma once

#include <KblUtils/Process.h>

#include <cstddef>
#include <memory>
#include <string>

namespace KBL {

// What the interpreter hands out, opaque.
struct PyObject;
struct PyThreadState;
struct PyCompilerFlags;

/// Values of the C API that its functions take and give.
inline constexpr int pyFileInput = 257;  ///< start symbol of a whole file
inline constexpr int pyDefaultOptimisation = -1;
inline constexpr unsigned long pyBytesSubclass = 1UL << 27;    ///< flag of a type
inline constexpr unsigned long pyUnicodeSubclass = 1UL << 28;  ///< flag of a type

/// The functions of the interpreter's C API that the library calls, by their names there. They are looked up
/// in a shared library while the process runs, so that the library works with every CPython from 3.8 to 3.13
/// and loads without any. PythonApi.cpp says how a function is called in which version. Of functions that the
/// lists there call optional the pointer may be null.
struct PythonApi {
  const char* (*Py_GetVersion)();
  int (*Py_IsInitialized)();
  void (*Py_SetPythonHome)(const wchar_t* home);
  void (*Py_Initialize)();
  void (*Py_Finalize)();
  void (*PyEval_InitThreads)();  ///< optional
  PyThreadState* (*PyThreadState_GetUnchecked)();
  void (*PyEval_ReleaseThread)(PyThreadState* state);
  PyThreadState* (*PyEval_SaveThread)();
  void (*PyEval_RestoreThread)(PyThreadState* state);
  PyThreadState* (*PyGILState_GetThisThreadState)();
  int (*PyGILState_Ensure)();
  void (*PyGILState_Release)(int state);

  PyObject* (*Py_CompileStringExFlags)(const char* text, const char* name, int start, PyCompilerFlags* flags,
                                       int optimisation);
  int (*PyRun_SimpleStringFlags)(const char* command, PyCompilerFlags* flags);
  PyObject* (*PyImport_ExecCodeModule)(const char* name, PyObject* code);
  PyObject* (*PyModule_GetDict)(PyObject* module);
  PyObject* (*PyDict_GetItemString)(PyObject* dictionary, const char* key);

  PyObject* (*PyObject_CallFunction)(PyObject* function, const char* format, ...);
  PyObject* (*PyObject_CallMethod)(PyObject* object, const char* name, const char* format, ...);
  PyObject* (*PyCapsule_New)(void* pointer, const char* name, void (*destructor)(PyObject*));
  PyObject* (*PySys_GetObject)(const char* name);
  int (*PySys_SetObject)(const char* name, PyObject* object);
  PyObject* (*Py_BuildValue)(const char* format, ...);

  PyObject* (*PyObject_Type)(PyObject* object);
  unsigned long (*PyType_GetFlags)(PyObject* type);
  PyObject* (*PyObject_Repr)(PyObject* object);
  PyObject* (*PyUnicode_AsUTF8String)(PyObject* text);
  PyObject* (*PyUnicode_AsEncodedString)(PyObject* text, const char* encoding, const char* errors);
  char* (*PyBytes_AsString)(PyObject* bytes);
  long (*PyLong_AsLong)(PyObject* number);
  int (*PyLong_AsInt)(PyObject* number);
  void (*Py_IncRef)(PyObject* object);
  void (*Py_DecRef)(PyObject* object);

  int (*PyErr_ExceptionMatches)(PyObject* exception);
  void (*PyErr_Print)();
  void (*PyErr_WriteUnraisable)(PyObject* object);
  void (*PyErr_Clear)();

  PyObject** PyExc_SystemExit;
  int* Py_UTF8Mode;               ///< optional
  int* Py_IgnoreEnvironmentFlag;  ///< optional
  int* Py_NoUserSiteDirectory;    ///< optional

  std::unique_ptr<SharedLibrary> library;  ///< that all of them lie in

  /// The table of the interpreter that `library` holds; null, with the reason in `reason`, when it is too old
  /// or lacks a function. The table never ends, and neither does the library then.
  [[nodiscard]] static const PythonApi* resolve(std::unique_ptr<SharedLibrary> library, std::string& reason);
};

}  // namespace KBL
