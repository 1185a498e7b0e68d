#include <KblUtils/FileStream.h>

// clang-format off
#include <windows.h>
// clang-format on

#include <gtest/gtest.h>

#include <string>

TEST(FileStream, APipeDoesNotOpenAndWaitsForNobody) {
  const std::string path = R"(\\.\pipe\mediatransfer-test-)" + std::to_string(GetCurrentProcessId());
  const HANDLE pipe = CreateNamedPipeA(path.c_str(), PIPE_ACCESS_DUPLEX, PIPE_TYPE_BYTE | PIPE_NOWAIT,
                                       PIPE_UNLIMITED_INSTANCES, 0, 0, 0, nullptr);
  ASSERT_NE(pipe, INVALID_HANDLE_VALUE);

  KBL::FileStream stream;

  EXPECT_FALSE(stream.open(KBL::Path(path), "rb"));
  EXPECT_EQ(stream.size(), 0U);
  CloseHandle(pipe);
}

TEST(FileStream, ADeviceDoesNotOpenAndWaitsForNobody) {
  for (const char* const name : {"NUL", "COM1", "LPT1", "CON", "//./NUL"}) {
    KBL::FileStream stream;

    EXPECT_FALSE(stream.open(KBL::Path(name), "rb")) << name;
  }
}
