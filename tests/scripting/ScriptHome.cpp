#include "scripting/ScriptHome.h"

#include "scripting/PythonLibrary.h"
#include "scripting/PythonRunTime.h"

#include <cstdlib>
#include <filesystem>
#include <stdexcept>

namespace fs = std::filesystem;

namespace {

struct TestedPython {
  std::string library;
  fs::path stdlib;
};

TestedPython testedPython() {
  const char* const value = std::getenv("TEST_PYTHON");
  const std::string text = value == nullptr ? "" : value;
  const std::size_t bar = text.find('|');
  if (bar == std::string::npos) throw std::runtime_error("TEST_PYTHON is not set; start the test with ctest");
  return {text.substr(0, bar), text.substr(bar + 1)};
}

}  // namespace

const char* const uploaderBase = R"(
import ctypes

_address = ctypes.pythonapi.PyCapsule_GetPointer
_address.restype = ctypes.c_void_p
_address.argtypes = [ctypes.py_object, ctypes.c_char_p]
_function = ctypes.CFUNCTYPE(None, ctypes.c_ssize_t, ctypes.c_uint32, ctypes.c_char_p)

class Uploader:
    def SetCallback(self, capsule):
        self.callback = _function(_address(capsule, b"SetCallback"))

    def SetUserObj(self, user):
        self.user = user

    def report(self, code, text):
        self.callback(self.user, code, text.encode())
)";

std::string scriptWith(const std::string& body) {
  return std::string(uploaderBase) + "\nclass Tested(Uploader):\n    name = None\n" + body +
         "\ndef CreateAuInstance(name):\n    made = Tested()\n    made.name = name\n    return made\n";
}

ScriptHome::ScriptHome(const std::string& script, const std::string& folder)
    : path_(directory_.file(folder) + "/") {
  const fs::path stdlib = testedPython().stdlib;
  fs::create_directories(path_ + "lib");
  fs::create_directory_symlink(stdlib, fs::path(path_ + "lib") / stdlib.filename());
  fs::create_directories(path_ + "pythondlls");
  fs::create_directories(path_ + "pysocialnetwork");
  write("pythondlls/authupload.py", script);
}

void ScriptHome::write(const std::string& name, const std::string& contents) const {
  directory_.write(path_.substr(directory_.file("").size()) + name, contents);
}

void ScriptHome::setUp() const {
  setenv(KBL::pythonLibraryVariable, testedPython().library.c_str(), 1);
  (void)KBL::CPythonRunTime::setHomePath(path_.c_str(), 0);
}
