#include "scripting/python/PythonApi.h"

#include <cstdlib>
#include <initializer_list>
#include <string>
#include <utility>

namespace KBL {

namespace {

constexpr long oldestMajor = 3;
constexpr long oldestMinor = 8;

/// Looks functions and variables up and remembers the first that is missing.
class Lookup {
 public:
  explicit Lookup(const SharedLibrary& library) : library_(library) {}

  /// `names` are those of one function in different versions; the first that is there serves.
  template <class Pointer>
  void optional(Pointer& place, std::initializer_list<const char*> names) {
    place = nullptr;
    for (const char* const name : names) {
      void* const address = library_.symbol(name);
      if (address == nullptr) continue;
      place = reinterpret_cast<Pointer>(address);
      return;
    }
  }

  template <class Pointer>
  void required(Pointer& place, std::initializer_list<const char*> names) {
    optional(place, names);
    if (place == nullptr && missing_.empty()) missing_ = *names.begin();
  }

  /// The first required name that there was nothing for; empty when all is well.
  [[nodiscard]] const std::string& missing() const { return missing_; }

 private:
  const SharedLibrary& library_;
  std::string missing_;
};

/// The functions under their names from 3.8 to 3.13; where versions differ, and only there, more names stand
/// in a row.
void lookUpFunctions(PythonApi& api, Lookup& find) {
  find.required(api.Py_GetVersion, {"Py_GetVersion"});
  find.required(api.Py_IsInitialized, {"Py_IsInitialized"});
  find.required(api.Py_SetPythonHome, {"Py_SetPythonHome"});
  find.required(api.Py_Initialize, {"Py_Initialize"});
  find.required(api.Py_Finalize, {"Py_Finalize"});
  // Has done nothing since 3.9 and may be gone from a later one.
  find.optional(api.PyEval_InitThreads, {"PyEval_InitThreads"});
  // Got its public name in 3.13.
  find.required(api.PyThreadState_GetUnchecked,
                {"PyThreadState_GetUnchecked", "_PyThreadState_UncheckedGet"});
  find.required(api.PyEval_ReleaseThread, {"PyEval_ReleaseThread"});
  find.required(api.PyEval_SaveThread, {"PyEval_SaveThread"});
  find.required(api.PyEval_RestoreThread, {"PyEval_RestoreThread"});
  find.required(api.PyGILState_GetThisThreadState, {"PyGILState_GetThisThreadState"});
  find.required(api.PyGILState_Ensure, {"PyGILState_Ensure"});
  find.required(api.PyGILState_Release, {"PyGILState_Release"});
  find.required(api.Py_CompileStringExFlags, {"Py_CompileStringExFlags"});
  find.required(api.PyRun_SimpleStringFlags, {"PyRun_SimpleStringFlags"});
  find.required(api.PyImport_ExecCodeModule, {"PyImport_ExecCodeModule"});
  find.required(api.PyModule_GetDict, {"PyModule_GetDict"});
  find.required(api.PyDict_GetItemString, {"PyDict_GetItemString"});
  find.required(api.PyObject_CallFunction, {"PyObject_CallFunction"});
  find.required(api.PyObject_CallMethod, {"PyObject_CallMethod"});
  find.required(api.PyCapsule_New, {"PyCapsule_New"});
  find.required(api.PySys_GetObject, {"PySys_GetObject"});
  find.required(api.PySys_SetObject, {"PySys_SetObject"});
  find.required(api.Py_BuildValue, {"Py_BuildValue"});
  find.required(api.PyObject_Type, {"PyObject_Type"});
  find.required(api.PyType_GetFlags, {"PyType_GetFlags"});
  find.required(api.PyObject_Repr, {"PyObject_Repr"});
  find.required(api.PyUnicode_AsUTF8String, {"PyUnicode_AsUTF8String"});
  find.required(api.PyUnicode_AsEncodedString, {"PyUnicode_AsEncodedString"});
  find.required(api.PyBytes_AsString, {"PyBytes_AsString"});
  find.required(api.PyLong_AsLong, {"PyLong_AsLong"});
  // Got its public name in 3.13.
  find.required(api.PyLong_AsInt, {"PyLong_AsInt", "_PyLong_AsInt"});
  find.required(api.Py_IncRef, {"Py_IncRef"});
  find.required(api.Py_DecRef, {"Py_DecRef"});
  find.required(api.PyErr_ExceptionMatches, {"PyErr_ExceptionMatches"});
  find.required(api.PyErr_Print, {"PyErr_Print"});
  find.required(api.PyErr_WriteUnraisable, {"PyErr_WriteUnraisable"});
  find.required(api.PyErr_Clear, {"PyErr_Clear"});
  find.required(api.PyExc_SystemExit, {"PyExc_SystemExit"});
  // Deprecated since 3.12.
  find.optional(api.Py_UTF8Mode, {"Py_UTF8Mode"});
  find.optional(api.Py_IgnoreEnvironmentFlag, {"Py_IgnoreEnvironmentFlag"});
  find.optional(api.Py_NoUserSiteDirectory, {"Py_NoUserSiteDirectory"});
}

/// True for a version text such as "3.11.2 (main, ...)" of a version that the table serves.
bool isServed(const char* version) {
  char* rest = nullptr;
  const long major = std::strtol(version, &rest, 10);
  if (*rest != '.') return false;
  const long minor = std::strtol(rest + 1, nullptr, 10);
  return major == oldestMajor && minor >= oldestMinor;
}

}  // namespace

const PythonApi* PythonApi::resolve(std::unique_ptr<SharedLibrary> library, std::string& reason) {
  auto api = std::make_unique<PythonApi>();
  Lookup find(*library);
  find.required(api->Py_GetVersion, {"Py_GetVersion"});
  if (api->Py_GetVersion != nullptr && !isServed(api->Py_GetVersion())) {
    reason = std::string("version ") + api->Py_GetVersion() + " is none from 3.8 upwards";
    return nullptr;
  }
  lookUpFunctions(*api, find);
  if (!find.missing().empty()) {
    reason = "no function " + find.missing();
    return nullptr;
  }
  // Threads of scripts may run the interpreter's code until the process ends.
  api->library = std::move(library);
  return api.release();
}

}  // namespace KBL
