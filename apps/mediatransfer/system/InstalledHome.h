#pragma once

#include <filesystem>
#include <string>

namespace host {

/// The Python home that was made where the program is installed, `lib/ExternlMediaTransfer/python_home`
/// beside the program's folder, UTF-8; empty when none is there.
[[nodiscard]] std::string installedPythonHome();
/// The same for a program with this file; empty as well for one whose place is not known.
[[nodiscard]] std::string pythonHomeOf(const std::filesystem::path& program);

/// A Python home as the library takes it: with slashes alone, since the library puts it into the text of a
/// script, where a backslash begins an escape, and one at the end. An empty one stays empty.
[[nodiscard]] std::string homeForScripts(const std::string& home);

}  // namespace host
