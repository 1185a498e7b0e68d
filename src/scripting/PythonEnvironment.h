#pragma once

#include <mutex>
#include <string>

namespace KBL {

/// Guards what belongs to the embedded interpreter. Initialised at load (see boundary/LoadTime.cpp), never
/// freed.
extern std::mutex& pythonMutex;
/// The folder that the host named as home of the interpreter, UTF-8; empty until then. Guarded by
/// `pythonMutex`.
extern std::string& pythonHome;

}  // namespace KBL
