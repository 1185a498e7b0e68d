// Uploads of files as POSIX systems alone have them.
#include "boundary/transfers/UploadAbuseFixture.h"

#include <sys/stat.h>

using testing::ElementsAre;

namespace {

TEST_F(ChangingFile, ThatIsDeletedArrivesWhole) {
  const std::string path = makeFile(someMebi);
  const auto transfer = uploadAndChange(path, [&] { std::filesystem::remove(path); });
  ASSERT_TRUE(events_.waitFor(8));
  EXPECT_EQ(sandbox_.uploads().at(0).sha256, sha256(contents_));
}

TEST_P(UploadAbuse, APipeIsRefusedAndWaitsForNobody) {
  const std::string path = files_.file("pipe.mp4");
  ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
  const auto transfer = makeUploadOf(path);
  transfer->Start();
  ASSERT_TRUE(events_.waitFor(12));
  EXPECT_THAT(events_.events(), ElementsAre(IsEvent(12, 12, "-10024," + path + ", open failed")));
}

TEST_P(UploadAbuse, NamesWithQuotesLineEndsAndForeignBytesArrive) {
  expectToArrive({"a \"b\"; c.mp4", "one\r\ntwo.mp4", "back\\slash.mp4", "\xFF\xFE.mp4"});
}

}  // namespace
