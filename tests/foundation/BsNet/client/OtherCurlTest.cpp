#include "support/ChildProcess.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

/// What the program says where the libcurl that is loaded says this of itself.
std::vector<std::string> saidWith(const std::string& version, const std::string& number,
                                  const std::string& protocol) {
  ChildProcess program({"/usr/bin/env", "LD_LIBRARY_PATH=" KBL_OTHER_CURL_FOLDER,
                        "LD_BIND_NOW=", "OTHER_CURL_VERSION=" + version, "OTHER_CURL_NUMBER=" + number,
                        "OTHER_CURL_PROTOCOL=" + protocol, KBL_OTHER_CURL_PROGRAM});
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

TEST(OtherCurl, OneThatIsTooOldIsRefusedWithOneLineOfTheLog) {
  const auto said = saidWith("7.86.0", "075600", "https");
  ASSERT_EQ(said.size(), 3U);
  EXPECT_THAT(said[0], testing::EndsWith(refusalOf("7.86.0")));
  EXPECT_EQ(said[1], "no client");
  EXPECT_EQ(said[2], "no client");
}

TEST(OtherCurl, OneWithoutHttpsIsRefused) {
  const auto said = saidWith("8.0.0", "080000", "ftp");
  ASSERT_EQ(said.size(), 3U);
  EXPECT_THAT(said[0], testing::EndsWith(refusalOf("8.0.0")));
  EXPECT_EQ(said[1], "no client");
}

TEST(OtherCurl, TheFirstThatWillDoIsAskedFurther) {
  EXPECT_EQ(saidWith("7.87.0", "075700", "https"), (std::vector<std::string>{"no client", "no client"}));
}
