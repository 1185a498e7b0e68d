#pragma once

#include "scripting/PythonApi.h"

#include <string>

namespace KBL {

/// Names the shared library of the interpreter, ahead of all that the library would look for by itself.
inline constexpr const char* pythonLibraryVariable = "MEDIATRANSFER_PYTHON";

/// The functions of the interpreter: the one that the process has loaded already, else the library named by
/// `pythonLibraryVariable`, else one in the folder `home` or its "lib", else one that the system knows,
/// from 3.8 upwards. Null without any, which is logged with everything that was tried. The first that is
/// found serves the process from then on, whatever the home of a later call. Under `pythonMutex`.
[[nodiscard]] const PythonApi* findPython(const std::string& home);

}  // namespace KBL
