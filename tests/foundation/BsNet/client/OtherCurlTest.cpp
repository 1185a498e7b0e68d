#include "support/ChildProcess.h"
#include "support/TemporaryDirectory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

/// What the program says where the libcurl that is loaded says this of itself.
std::vector<std::string> saidWith(const std::string& version, const std::string& number,
                                  const std::string& protocol, std::vector<std::string> arguments) {
  std::vector<std::string> command{"/usr/bin/env",
                                   "LD_LIBRARY_PATH=" KBL_OTHER_CURL_FOLDER,
                                   "LD_BIND_NOW=",
                                   "OTHER_CURL_VERSION=" + version,
                                   "OTHER_CURL_NUMBER=" + number,
                                   "OTHER_CURL_PROTOCOL=" + protocol,
                                   KBL_OTHER_CURL_PROGRAM};
  command.insert(command.end(), arguments.begin(), arguments.end());
  ChildProcess program(command);
  std::vector<std::string> lines;
  for (std::string line; program.readLine(line);) lines.push_back(line);
  EXPECT_EQ(program.wait(), 0);
  return lines;
}

std::string refusalOf(const std::string& version) {
  return "libcurl " + version +
         " cannot serve: 7.87.0 or later with HTTP and HTTPS is needed; no exchange can be made";
}

}  // namespace

/// By the library as the first object is made, whatever it is, and by the network's at the first client,
/// which that object may want.
TEST(OtherCurl, OneThatIsTooOldIsLeftAloneAndToldOfOnceByEachLibrary) {
  for (const std::string first : {"upload", "download", "manager"}) {
    auto said = saidWith("7.86.0", "075600", "https", {first});
    ASSERT_FALSE(said.empty()) << first;
    EXPECT_THAT(said[0], testing::EndsWith(refusalOf("7.86.0"))) << first;
    const auto refusals =
        std::erase_if(said, [](const std::string& line) { return line.ends_with(refusalOf("7.86.0")); });
    EXPECT_EQ(refusals, 2U) << first;
    EXPECT_EQ(said, (std::vector<std::string>{"made", "no client", "no client"})) << first;
  }
}

TEST(OtherCurl, OneWithoutHttpsIsRefused) {
  const auto said = saidWith("8.0.0", "080000", "ftp", {"manager"});
  ASSERT_FALSE(said.empty());
  EXPECT_THAT(said[0], testing::EndsWith(refusalOf("8.0.0")));
  EXPECT_EQ(said.back(), "no client");
}

TEST(OtherCurl, OneThatIsTooOldDownloadsNothing) {
  const TemporaryDirectory directory;
  const auto said = saidWith("7.86.0", "075600", "https", {"upload", directory.file("download")});
  ASSERT_EQ(said.size(), 6U);
  EXPECT_EQ(said[5], "download failed: 10");
  EXPECT_EQ(directory.entries(), 0U);
}

/// At load, for the first client and at the end.
TEST(OtherCurl, TheFirstThatWillDoIsAskedFurther) {
  EXPECT_EQ(saidWith("7.87.0", "075700", "https", {"upload"}),
            (std::vector<std::string>{"set up", "made", "set up", "no client", "no client", "set up"}));
}
