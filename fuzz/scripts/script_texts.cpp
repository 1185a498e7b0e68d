// Results of a script's method, of the type that the first byte names: bytes, texts that can be written as
// UTF-8 and such that can't, numbers, lists, and objects that fail when they are looked at. Its other bytes
// are the contents.
#include "fuzz/support/ScratchFile.h"
#include "scripting/python/PythonAuObject.h"
#include "scripting/python/PythonLibrary.h"
#include "scripting/python/PythonRunTime.h"
#include <ExternlMediaTransfer/ExternlMediaTransfer.h>

#include <cstdlib>
#include <fstream>
#include <memory>
#include <string>

namespace {

constexpr const char* script = R"(
class Odd:
    def __init__(self, data):
        self.data = data
    def __repr__(self):
        if len(self.data) % 2:
            raise ValueError(self.data)
        return self.data.decode("latin-1")

kinds = (
    bytes,
    lambda data: data.decode("utf-8", "surrogateescape"),
    lambda data: data.decode("utf-16-le", "surrogatepass" if len(data) % 2 == 0 else "replace"),
    lambda data: data.decode("latin-1"),
    lambda data: int.from_bytes(data, "little", signed=True),
    lambda data: [data, None, {1: data}],
    Odd,
)

class Answering:
    def GetLoginURL(self):
        with open(path, "rb") as file:
            data = file.read()
        return kinds[data[0] % len(kinds)](data[1:]) if data else None

def CreateAuInstance(name):
    return Answering()
)";

/// The script in a home of its own, as a host would set it up.
class Script {
 public:
  Script() {
    namespace fs = std::filesystem;
    const fs::path home = home_.path();
    fs::create_directories(home / "lib");
    const fs::path stdlib = KBL_PYTHON_STDLIB;
    fs::create_directory_symlink(stdlib, home / "lib" / stdlib.filename());
    fs::create_directories(home / "pythondlls");
    fs::create_directories(home / "pysocialnetwork");
    std::ofstream(home / "pythondlls" / "authupload.py") << "path = '" << input.path().string() << "'\n"
                                                         << script;
    setenv(KBL::pythonLibraryVariable, KBL_PYTHON_LIBRARY, 1);
    if (setupTransferEnv((home.string() + "/").c_str(), 0) != 0) std::abort();
    const auto environment = KBL::CPythonRunTime::getEnvironment();
    if (environment == nullptr) std::abort();
    object_ = environment->CreateAuInstance(0);
    if (object_ == nullptr) std::abort();
  }

  [[nodiscard]] std::string answer() const { return object_->GetLoginURL(); }

  const ScratchFile input;

 private:
  const ScratchFile home_;
  std::unique_ptr<KBL::CPythonAuObject> object_;
};

}  // namespace

/// The interpreter keeps what it allocated until the process ends.
extern "C" const char* __lsan_default_suppressions() {
  return "leak:libpython\nleak:_Py\nleak:Py_\n";
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static Script& script = *new Script;  // its threads outlive main
  script.input.write(data, size);
  const std::string text = script.answer();
  const bool isBytes = size > 1 && data[0] % 7 == 0;
  if (isBytes && text != std::string(reinterpret_cast<const char*>(data) + 1, size - 1).c_str()) std::abort();
  return 0;
}
