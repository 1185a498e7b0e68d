#pragma once

#include "scripting/PythonCall.h"

#include <string>

namespace KBL {

/// The text of a method's result: text as UTF-8, bytes as they are, anything else by its `repr`; up to its
/// first zero byte. What cannot be read is printed and gives an empty text. Logged, whatever it holds.
[[nodiscard]] std::string PyResult2String(const PythonCall& python, PyObject* result);

/// The number of a method's result, null included; -1 for what is none or does not fit.
[[nodiscard]] int numberOf(const PythonCall& python, PyObject* result);

}  // namespace KBL
