#include "scripting/python/ScriptHome.h"

#include "scripting/python/PythonCall.h"
#include "scripting/python/PythonLibrary.h"
#include "scripting/python/PythonRunTime.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <stdexcept>

namespace fs = std::filesystem;

const char* const scriptBase = R"(
import ctypes

calls = []

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


class Recorder(Uploader):
    answers = {}

    def __getattr__(self, name):
        if name.startswith("_"):
            raise AttributeError(name)

        def method(*arguments):
            calls.append((name,) + arguments)
            answer = self.answers.get(name)
            return answer() if callable(answer) else answer

        return method


def fail():
    raise RuntimeError("told to fail")


)";

std::string scriptWith(const std::string& body) {
  return std::string(scriptBase) + "class Tested(Uploader):\n    name = None\n" + body +
         "\ndef CreateAuInstance(name):\n    made = Tested()\n    made.name = name\n    return made\n";
}

std::string recorderWith(const std::string& answers) {
  return std::string(scriptBase) + "Recorder.answers = " + answers +
         "\ndef CreateAuInstance(name):\n    calls.append(name)\n    return Recorder()\n";
}

std::string recorderAnswering(const std::string& pairs) {
  return recorderWith("{" + pairs + "}");
}

std::string waitingRecorder(const std::string& more) {
  return recorderAnswering("'GetLoginURL': lambda: wait()" + more) + R"(
import os, time

def wait():
    open("begun", "w").close()
    while not os.path.exists("end"):
        time.sleep(0.001)
    return "ended"
)";
}

TestedPython testedPython() {
  const char* const value = std::getenv("TEST_PYTHON");
  const std::string text = value == nullptr ? "" : value;
  const std::size_t first = text.find('|');
  const std::size_t second = text.find('|', first + 1);
  if (second == std::string::npos)
    throw std::runtime_error("TEST_PYTHON is not set; start the test with ctest");
  return {text.substr(0, first), text.substr(first + 1, second - first - 1), text.substr(second + 1)};
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
  directory_.write(path_.substr(directory_.path().string().size() + 1) + name, contents);
}

void ScriptHome::setUp() const {
  setenv(KBL::pythonLibraryVariable, testedPython().library.c_str(), 1);
  (void)KBL::CPythonRunTime::setHomePath(path_.c_str(), 0);
}

std::unique_ptr<ScriptHome> loadedHome(const std::string& script) {
  auto home = std::make_unique<ScriptHome>(script);
  home->setUp();
  (void)KBL::CPythonRunTime::getEnvironment();
  return home;
}

bool runPython(const std::string& text) {
  const KBL::PythonApi* const api = KBL::PythonGate::instance().running();
  if (api == nullptr) throw std::runtime_error("no interpreter runs");
  const int state = api->PyGILState_Ensure();
  const int result = api->PyRun_SimpleStringFlags(text.c_str(), nullptr);
  api->PyGILState_Release(state);
  return result == 0;
}

std::string pythonValue(const std::string& expression) {
  const TemporaryDirectory directory;
  const std::string file = directory.write("value", "");
  const bool done = runPython("import sys\nrt = sys.modules.get('pythonrt')\nwith open(r'" + file +
                              "', 'w', encoding='utf-8') as out: out.write(str(" + expression + "))\n");
  return done ? directory.read("value") : "(raised)";
}

ErrorOutput::ErrorOutput() {
  testing::internal::CaptureStderr();
}

ErrorOutput::~ErrorOutput() {
  if (recording_) (void)testing::internal::GetCapturedStderr();
}

std::string ErrorOutput::text() {
  recording_ = false;
  return testing::internal::GetCapturedStderr();
}
