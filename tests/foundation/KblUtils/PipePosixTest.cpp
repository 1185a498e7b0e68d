#include "support/TemporaryDirectory.h"
#include <KblUtils/FileStream.h>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

TEST(FileStream, APipeDoesNotOpenAndWaitsForNobody) {
  const TemporaryDirectory directory;
  const std::string path = directory.file("pipe");
  ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);

  KBL::FileStream stream;

  EXPECT_FALSE(stream.open(KBL::Path(path), "rb"));
  EXPECT_EQ(stream.size(), 0U);
}

TEST(FileStream, IsNotInheritedAndReadsAsAnyFileDoes) {
  const TemporaryDirectory directory;
  const int next = ::dup(0);
  ASSERT_GE(next, 0);
  ::close(next);
  KBL::FileStream stream;

  ASSERT_TRUE(stream.open(KBL::Path(directory.write("file", "text")), "rb"));

  EXPECT_EQ(::fcntl(next, F_GETFD), FD_CLOEXEC);
  EXPECT_EQ(::fcntl(next, F_GETFL) & (O_NONBLOCK | O_ACCMODE), O_RDONLY);
}

TEST(FileStream, EveryModeOpensAsItDoesElsewhere) {
  const TemporaryDirectory directory;
  const std::string path = directory.write("file", "text");
  const std::string made = directory.file("made");
  KBL::FileStream stream;

  EXPECT_TRUE(stream.open(KBL::Path(path), "ab+"));
  EXPECT_EQ(stream.size(), 4U);
  EXPECT_TRUE(stream.open(KBL::Path(path), "r+b"));
  EXPECT_EQ(stream.size(), 4U);
  EXPECT_TRUE(stream.open(KBL::Path(path), "wb"));
  EXPECT_EQ(stream.size(), 0U);
  EXPECT_TRUE(stream.open(KBL::Path(made), "a"));
  EXPECT_FALSE(stream.open(KBL::Path(directory.file("missing")), "r+"));
  EXPECT_FALSE(stream.open(KBL::Path(path), "x"));
}
