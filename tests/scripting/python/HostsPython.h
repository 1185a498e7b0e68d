#pragma once

#include "scripting/python/PythonApi.h"
#include "scripting/python/ScriptHome.h"
#include <KblUtils/Process.h>

#include <stdexcept>
#include <string>

/// The tested interpreter's functions, for a host that calls them itself.
inline const KBL::PythonApi& hostsPython() {
  std::string reason;
  static const KBL::PythonApi* const api =
      KBL::PythonApi::resolve(KBL::SharedLibrary::open(KBL::Path(testedPython().library), reason), reason);
  if (api == nullptr) throw std::runtime_error(reason);
  return *api;
}

/// Starts it; its lock is this thread's then.
inline KBL::PyThreadState* startHostsPython() {
  static const std::wstring home = testedPython().stdlib.parent_path().parent_path().wstring();
  hostsPython().Py_SetPythonHome(home.c_str());
  hostsPython().Py_Initialize();
  return hostsPython().PyThreadState_GetUnchecked();
}
