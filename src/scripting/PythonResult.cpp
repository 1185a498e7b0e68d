#include "scripting/PythonResult.h"

#include "foundation/KblLogger/KblLogger.h"

#include <limits>

namespace KBL {

namespace {

/// Flags of the type of an object, without the header that knows where it keeps its type.
unsigned long typeFlags(const PythonCall& python, PyObject* object) {
  PyObject* const type = python->PyObject_Type(object);
  if (type == nullptr) return 0;
  const unsigned long flags = python->PyType_GetFlags(type);
  python->Py_DecRef(type);
  return flags;
}

std::string textOrPrint(const PythonCall& python, PyObject* bytes) {
  const char* const text = bytes == nullptr ? nullptr : python->PyBytes_AsString(bytes);
  if (text != nullptr) return text;
  python.printError();
  return {};
}

std::string reprText(const PythonCall& python, PyObject* object) {
  PyObject* const repr = python->PyObject_Repr(object);
  if (repr == nullptr) return textOrPrint(python, nullptr);
  PyObject* const bytes = python->PyUnicode_AsEncodedString(repr, "utf-8", "strict");
  python->Py_DecRef(repr);
  std::string text = textOrPrint(python, bytes);
  if (bytes != nullptr) python->Py_DecRef(bytes);
  return text;
}

std::string decode(const PythonCall& python, PyObject* result) {
  const unsigned long flags = typeFlags(python, result);
  // The bytes of a text stay behind, one reference a call.
  if ((flags & pyUnicodeSubclass) != 0) return textOrPrint(python, python->PyUnicode_AsUTF8String(result));
  if ((flags & pyBytesSubclass) != 0) return textOrPrint(python, result);
  return reprText(python, result);
}

}  // namespace

std::string PyResult2String(const PythonCall& python, PyObject* result) {
  if (result == nullptr) {
    python.printError();
    return {};
  }
  std::string text = decode(python, result);
  KBL_LOG_AS(info, "CPythonAuObject::PyResult2String", "py_msg: " << text);
  return text;
}

int numberOf(const PythonCall& python, PyObject* result) {
  constexpr int none = -1;
  if (result == nullptr) return none;
  const long number = python->PyLong_AsLong(result);
  // The same number wherever `long` is longer than the host's 32 bits.
  if (number < std::numeric_limits<int>::min() || number > std::numeric_limits<int>::max()) return none;
  return static_cast<int>(number);
}

}  // namespace KBL
