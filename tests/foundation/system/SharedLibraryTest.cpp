#include "support/TemporaryDirectory.h"
#include <KblUtils/Process.h>
#include <KblUtils/StringUtil.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

using namespace KBL;
using testing::Not;

namespace {
#if defined(_WIN32)
void setVariable(const std::string& name, const std::string& value) {
  const auto wide = [](const std::string& text) {
    return std::filesystem::path(std::u8string(text.begin(), text.end())).wstring();
  };
  // An empty value takes the variable away.
  (void)_wputenv_s(wide(name).c_str(), wide(value).c_str());
}
const std::vector<std::string> pythonFileNames{"python38.dll"};
#else
void setVariable(const std::string& name, const std::string& value) {
  (void)(value.empty() ? unsetenv(name.c_str()) : setenv(name.c_str(), value.c_str(), 1));
}
const std::vector<std::string> pythonFileNames{"libpython3.8.so.1.0", "libpython3.8.so"};
#endif

TEST(SharedLibrary, AMissingFileDoesNotOpenAndSaysWhy) {
  const TemporaryDirectory directory;
  std::string reason;
  EXPECT_EQ(SharedLibrary::open(Path(directory.file("libnothing.so")), reason), nullptr);
  EXPECT_THAT(reason, Not(testing::IsEmpty()));
}

TEST(SharedLibrary, AFileThatIsNoLibraryDoesNotOpen) {
  const TemporaryDirectory directory;
  std::string reason;
  EXPECT_EQ(SharedLibrary::open(Path(directory.write("libtext.so", "no library")), reason), nullptr);
  EXPECT_THAT(reason, Not(testing::IsEmpty()));
}

TEST(SharedLibrary, OffersItsSymbolsAndNoOthers) {
  std::string reason;
  const auto library = SharedLibrary::open(Path(UTILS_LIBRARY), reason);
  ASSERT_NE(library, nullptr) << reason;
  EXPECT_EQ(library->name(), UTILS_LIBRARY);
  EXPECT_EQ(library->symbol("kbl_strcpy"), reinterpret_cast<void*>(&kbl_strcpy));
  EXPECT_EQ(library->symbol("no_function_of_this_name"), nullptr);
}

TEST(SharedLibrary, WhatTheProcessHasLoadedIsFoundByASymbol) {
  const auto library = SharedLibrary::loadedWith("kbl_strcpy");
  ASSERT_NE(library, nullptr);
  EXPECT_EQ(library->symbol("kbl_strcpy"), reinterpret_cast<void*>(&kbl_strcpy));
  EXPECT_EQ(SharedLibrary::loadedWith("no_function_of_this_name"), nullptr);
}

TEST(SharedLibrary, FilesAreCalledAsTheSystemCallsThem) {
  EXPECT_EQ(SharedLibrary::fileNames("python", "3.8"), pythonFileNames);
}

TEST(Environment, HasWhatIsSetAndIsEmptyElsewhere) {
  setVariable("KBL_TEST_VARIABLE", "wert ü");
  EXPECT_EQ(Environment::variable("KBL_TEST_VARIABLE"), "wert ü");
  setVariable("KBL_TEST_VARIABLE", "");
  EXPECT_EQ(Environment::variable("KBL_TEST_VARIABLE"), "");
}

#if defined(_WIN32)
TEST(Environment, HalfALetterIsShownAsNone) {
  (void)_wputenv_s(L"KBL_TEST_VARIABLE", L"a\xD800z");
  EXPECT_EQ(Environment::variable("KBL_TEST_VARIABLE"), "a\uFFFDz");
  setVariable("KBL_TEST_VARIABLE", "");
}
#endif
}  // namespace
