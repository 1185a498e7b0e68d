#pragma once

#include "scripting/python/PythonAuObject.h"
#include "scripting/python/PythonRunTime.h"
#include "scripting/python/ScriptHome.h"

#include <memory>
#include <string>

inline std::unique_ptr<KBL::CPythonAuObject> makeObject(std::uint32_t platform = 0) {
  return KBL::CPythonRunTime::getEnvironment()->CreateAuInstance(platform);
}

/// A script set up, and an object that it made.
class ScriptObject {
 public:
  explicit ScriptObject(const std::string& script) : home_(loadedHome(script)), object_(makeObject()) {
    (void)runPython("import sys\nsys.modules['pythonrt'].calls.clear()");
  }
  ~ScriptObject() { KBL::CPythonRunTime::teardown(); }

  KBL::CPythonAuObject* operator->() const { return object_.get(); }
  /// The calls that the script noted since it made the object.
  [[nodiscard]] static std::string calls() { return pythonValue("rt.calls"); }

 private:
  std::unique_ptr<ScriptHome> home_;
  std::unique_ptr<KBL::CPythonAuObject> object_;
};
