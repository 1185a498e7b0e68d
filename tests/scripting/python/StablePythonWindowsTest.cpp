// The process has python3.dll loaded ahead of the interpreter, as plug-ins of the stable interface have it.
// That library hands some of the interpreter's functions on and lacks the others.
#include "scripting/python/PythonLibrary.h"
#include "support/RecordingLogger.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>

using namespace KBL;
using testing::IsEmpty;

namespace {

TEST(StablePython, LoadedFirstLeadsToTheInterpreterItself) {
  (void)_wputenv_s(L"MEDIATRANSFER_PYTHON", L"");
  std::string reason;
  const auto stable = SharedLibrary::open(Path(STABLE_PYTHON), reason);
  ASSERT_NE(stable, nullptr) << reason;
  const auto interpreter = SharedLibrary::open(Path(SERVED_PYTHON), reason);
  ASSERT_NE(interpreter, nullptr) << reason;
  ASSERT_EQ(stable->symbol("Py_SetPythonHome"), nullptr);
  ASSERT_EQ(stable->symbol("Py_Initialize"), interpreter->symbol("Py_Initialize"));
  const ScopedRecordingLogger log;

  LinesBehindLock told;
  const PythonApi* const found = findPython("nowhere/", told);
  told.write();

  ASSERT_NE(found, nullptr);
  EXPECT_THAT(log->lines(), IsEmpty());
  EXPECT_TRUE(std::filesystem::equivalent(found->library->name(), SERVED_PYTHON)) << found->library->name();
  EXPECT_EQ(reinterpret_cast<void*>(found->Py_SetPythonHome), interpreter->symbol("Py_SetPythonHome"));
}

}  // namespace
