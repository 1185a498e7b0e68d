#pragma once

#include <string>

namespace host {

/// The Python home that was made where the program is installed, `lib/ExternlMediaTransfer/python_home`
/// beside the program's folder, UTF-8; empty when none is there.
[[nodiscard]] std::string installedPythonHome();

/// A Python home as the library takes it: with slashes alone, since the library puts it into the text of a
/// script, where a backslash begins an escape, and one at the end. An empty one stays empty.
[[nodiscard]] std::string homeForScripts(const std::string& home);

}  // namespace host
