#pragma once

#include <string>

namespace host {

/// The Python home that was made where the program is installed, `lib/ExternlMediaTransfer/python_home`
/// beside the program's folder, UTF-8; empty when none is there.
[[nodiscard]] std::string installedPythonHome();

}  // namespace host
