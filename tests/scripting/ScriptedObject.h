#pragma once

#include "scripting/AuthNUploadObj.h"
#include "scripting/python/PythonRunTime.h"
#include "scripting/python/ScriptHome.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>

/// An upload object on a script, the calls that made it forgotten.
class ScriptedObject {
 public:
  explicit ScriptedObject(const std::string& script, std::uint32_t platform = 0) : home_(loadedHome(script)) {
    EXPECT_EQ(object_.SetPlatform(platform), 0);
    (void)runPython("import sys\nsys.modules['pythonrt'].calls.clear()");
  }
  ~ScriptedObject() { KBL::CPythonRunTime::teardown(); }

  KBL::CAuthNUploadObj* operator->() { return &object_; }
  [[nodiscard]] static std::string calls() { return pythonValue("rt.calls"); }

 private:
  std::unique_ptr<ScriptHome> home_;
  KBL::CAuthNUploadObj object_;
};
