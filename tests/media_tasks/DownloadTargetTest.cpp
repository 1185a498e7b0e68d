// What becomes of the file that a download is for, and of what lies beside it.
#include "foundation/system/FileReplacement.h"
#include "media_tasks/DownloadTargetFixture.h"

#include <gmock/gmock.h>

#include <array>
#include <filesystem>
#include <thread>

using KBL::System::FileReplacement;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;
using Error = MediaHost::Error;
namespace fs = std::filesystem;

TEST_F(DownloadTarget, IsReplacedInOneStepWhenAllHasCome) {
  directory.write("f", "former");
  std::vector<std::string> seen;
  host.onOther = [&] {
    if (host.progress().back().finished == 0) seen.push_back(directory.read("f"));
  };
  download(directory.file("f"), std::string(large, 'x'));
  EXPECT_FALSE(seen.empty());
  EXPECT_THAT(seen, Each("former"));
  EXPECT_EQ(directory.read("f"), std::string(large, 'x'));
  EXPECT_THAT(names(), ElementsAre("f"));
}

TEST_F(DownloadTarget, HasNothingBesideItAfterAStop) {
  fetcher.answerInOrder({ScriptedReply{.body = std::string(large, 'x'), .breakAfter = large - 1}});
  run(directory.file("f"));
  EXPECT_EQ(host.errors().size(), 1U);
  EXPECT_THAT(names(), IsEmpty());
}

TEST_F(DownloadTarget, WithTwoNamesKeepsThem) {
  directory.write("f", "former");
  fs::create_hard_link(directory.file("f"), directory.file("g"));
  for (const std::size_t size : {large, small}) {
    download(directory.file("f"), std::string(size, 'x'));
    EXPECT_EQ(directory.read("g"), std::string(size, 'x'));
    EXPECT_THAT(names(), UnorderedElementsAre("f", "g"));
  }
  EXPECT_THAT(host.errors(), IsEmpty());
}

TEST_F(DownloadTarget, OfARelativePathIsWhereThePathLeads) {
  const fs::path former = fs::current_path();
  fs::current_path(directory.path());
  download("relative", std::string(large, 'x'));
  fs::current_path(former);
  EXPECT_THAT(host.errors(), IsEmpty());
  EXPECT_EQ(fs::file_size(directory.file("relative")), large);
  EXPECT_THAT(names(), ElementsAre("relative"));
}

TEST_F(DownloadTarget, ThatIsADirectoryCannotBeOpened) {
  fs::create_directory(directory.file("d"));
  download(directory.file("d"), std::string(large, 'x'));
  EXPECT_THAT(host.errors(), ElementsAre(Error{1, "Image save path open error."}));
  EXPECT_THAT(names(), ElementsAre("d"));
}

TEST_F(DownloadTarget, OfTwoDownloadsAtOnceIsOneOfTheirs) {
  std::thread other([&] {
    ScriptedFetcher fetcherOfOther;
    fetcherOfOther.answerAlways(std::string(large, 'y'));
    KBL::SNRFacebookDownloadMediaTask task(ScriptedFetcher::url(), directory.file("f"), nullptr, nullptr,
                                           fetcherOfOther);
    task.Run();
  });
  download(directory.file("f"), std::string(large, 'x'));
  other.join();
  const std::string stored = directory.read("f");
  EXPECT_TRUE(stored == std::string(large, 'x') || stored == std::string(large, 'y'));
  EXPECT_THAT(names(), ElementsAre("f"));
}

class FileReplacementTest : public testing::TestWithParam<FileReplacement::Name> {
 protected:
  [[nodiscard]] std::size_t nameCount() const {
    return static_cast<std::size_t>(
        std::distance(fs::directory_iterator(directory.path()), fs::directory_iterator()));
  }
  TemporaryDirectory directory;
};

INSTANTIATE_TEST_SUITE_P(Names, FileReplacementTest,
                         testing::Values(FileReplacement::Name::none, FileReplacement::Name::own),
                         [](const auto& tested) {
                           return tested.param == FileReplacement::Name::none ? "Nameless" : "Named";
                         });

TEST_P(FileReplacementTest, TakesThePlaceOfAFileAndOfNothing) {
  directory.write("f", "former");
  for (const char* name : {"f", "new"}) {
    const auto replacement = FileReplacement::begin(directory.file(name), GetParam());
    ASSERT_NE(replacement, nullptr);
    ASSERT_TRUE(replacement->append("some", 4));
    ASSERT_TRUE(replacement->append("thing", 5));
    EXPECT_EQ(replacement->putInPlace(), FileReplacement::Outcome::done);
    EXPECT_EQ(directory.read(name), "something");
  }
  EXPECT_EQ(nameCount(), 2U);
}

TEST_P(FileReplacementTest, LeavesNothingWhenItIsNotPutInPlace) {
  directory.write("f", "former");
  {
    const auto replacement = FileReplacement::begin(directory.file("f"), GetParam());
    ASSERT_NE(replacement, nullptr);
    ASSERT_TRUE(replacement->append("something", 9));
#if defined(_WIN32)
    const bool hasName = true;  // no file there goes without
#else
    const bool hasName = GetParam() == FileReplacement::Name::own;
#endif
    EXPECT_EQ(nameCount(), hasName ? 2U : 1U);
  }
  EXPECT_EQ(nameCount(), 1U);
  EXPECT_EQ(directory.read("f"), "former");
}

TEST_P(FileReplacementTest, IsReadBackWhereTheTargetCannotBeReplaced) {
  const auto replacement = FileReplacement::begin(directory.file("f"), GetParam());
  ASSERT_NE(replacement, nullptr);
  ASSERT_TRUE(replacement->append("something", 9));
  fs::create_directory(directory.file("f"));
  EXPECT_EQ(replacement->putInPlace(), FileReplacement::Outcome::refused);
  std::array<char, 16> buffer{};
  EXPECT_EQ(replacement->read(4, buffer.data(), buffer.size()), 5U);
  EXPECT_STREQ(buffer.data(), "thing");
  EXPECT_EQ(replacement->read(9, buffer.data(), buffer.size()), 0U);
}

TEST(FileReplacementOf, ADirectoryOrAMissingPlaceDoesNotBegin) {
  const TemporaryDirectory directory;
  EXPECT_EQ(FileReplacement::begin(directory.path().string()), nullptr);
  EXPECT_EQ(FileReplacement::begin(directory.file("missing/f")), nullptr);
}
