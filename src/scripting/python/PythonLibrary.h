#pragma once

#include "foundation/KblLogger/LinesBehindLock.h"
#include "scripting/python/PythonApi.h"

#include <string>

namespace KBL {

/// Names the shared library of the interpreter, ahead of all that the library would look for by itself.
inline constexpr const char* pythonLibraryVariable = "MEDIATRANSFER_PYTHON";

/// The functions of the interpreter: the one that the process has loaded already, else the library named by
/// `pythonLibraryVariable`, else one in the folder `home` or its "lib", else one that the system knows,
/// from 3.8 upwards. Null without any, for which `lines` gets a line with everything that was tried. The
/// first that is found serves the process from then on, whatever the home of a later call. Any thread.
[[nodiscard]] const PythonApi* findPython(const std::string& home, LinesBehindLock& lines);

/// The functions of the interpreter that the process has loaded already, also by `findPython`; null without
/// one that serves. A thread that holds an interpreter's lock finds that interpreter. Any thread.
[[nodiscard]] const PythonApi* findLoadedPython();

}  // namespace KBL
