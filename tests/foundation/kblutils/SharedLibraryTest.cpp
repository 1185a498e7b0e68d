#include "foundation/KblUtils/Environment.h"
#include "foundation/KblUtils/SharedLibrary.h"
#include "foundation/KblUtils/StringUtil.h"
#include "support/TemporaryDirectory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

using namespace KBL;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

namespace {
TEST(SharedLibrary, AMissingFileDoesNotOpenAndSaysWhy) {
  const TemporaryDirectory directory;
  std::string reason;
  EXPECT_EQ(SharedLibrary::open(Path(directory.file("libnothing.so")), reason), nullptr);
  EXPECT_THAT(reason, HasSubstr("libnothing.so"));
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
  EXPECT_THAT(SharedLibrary::fileNames("python", "3.8"),
              ElementsAre("libpython3.8.so.1.0", "libpython3.8.so"));
}

TEST(Environment, HasWhatIsSetAndIsEmptyElsewhere) {
  setenv("KBL_TEST_VARIABLE", "wert ü", 1);
  EXPECT_EQ(Environment::variable("KBL_TEST_VARIABLE"), "wert ü");
  unsetenv("KBL_TEST_VARIABLE");
  EXPECT_EQ(Environment::variable("KBL_TEST_VARIABLE"), "");
}
}  // namespace
