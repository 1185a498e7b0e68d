// Where Windows takes a library from that another one needs.
#include "support/TemporaryDirectory.h"
#include <KblUtils/Process.h>

#include <gtest/gtest.h>
#include <windows.h>

#include <filesystem>
#include <string>

namespace fs = std::filesystem;

namespace {

TEST(SharedLibrary, WhatOneNeedsLiesBesideItAndNeverInTheCurrentFolder) {
  const TemporaryDirectory place;
  const TemporaryDirectory current;
  const fs::path needed = fs::path(NEEDED_LIBRARY).filename();
  fs::copy_file(NEEDING_LIBRARY, place.path() / "needing.dll");
  fs::copy_file(NEEDED_LIBRARY, current.path() / needed);
  const fs::path before = fs::current_path();
  fs::current_path(current.path());
  std::string reason;
  EXPECT_EQ(KBL::SharedLibrary::open(KBL::Path(place.file("needing.dll")), reason), nullptr);
  EXPECT_NE(reason, "");
  fs::current_path(before);

  fs::copy_file(NEEDED_LIBRARY, place.path() / needed);

  EXPECT_NE(KBL::SharedLibrary::open(KBL::Path(place.file("needing.dll")), reason), nullptr) << reason;
}

TEST(SharedLibrary, OfARelativePathFindsWhatItNeedsBesideIt) {
  const TemporaryDirectory place;
  fs::create_directory(place.path() / "folder");
  fs::copy_file(NEEDING_LIBRARY, place.path() / "folder" / "needing.dll");
  fs::copy_file(NEEDED_LIBRARY, place.path() / "folder" / fs::path(NEEDED_LIBRARY).filename());
  const fs::path before = fs::current_path();
  fs::current_path(place.path());
  std::string reason;

  EXPECT_NE(KBL::SharedLibrary::open(KBL::Path("folder/needing.dll"), reason), nullptr) << reason;

  fs::current_path(before);
}

TEST(SharedLibrary, IsLoadedWithoutDialogs) {
  const DWORD before = GetThreadErrorMode();
  const TemporaryDirectory place;
  fs::copy_file(NEEDING_LIBRARY, place.path() / "needing.dll");
  fs::copy_file(NEEDED_LIBRARY, place.path() / fs::path(NEEDED_LIBRARY).filename());
  std::string reason;

  const auto library = KBL::SharedLibrary::open(KBL::Path(place.file("needing.dll")), reason);

  ASSERT_NE(library, nullptr) << reason;
  const auto* const mode = static_cast<const DWORD*>(library->symbol("errorModeAtLoad"));
  ASSERT_NE(mode, nullptr);
  EXPECT_NE(*mode & SEM_FAILCRITICALERRORS, 0U);
  EXPECT_EQ(GetThreadErrorMode(), before);
}

}  // namespace
