#include "foundation/KblUtils/FileStream.h"
#include "support/TemporaryDirectory.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

TEST(FileStream, APipeDoesNotOpenAndWaitsForNobody) {
  const TemporaryDirectory directory;
  const std::string path = directory.file("pipe");
  ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);

  KBL::FileStream stream;

  EXPECT_FALSE(stream.open(KBL::Path(path), "rb"));
  EXPECT_EQ(stream.size(), 0U);
}
