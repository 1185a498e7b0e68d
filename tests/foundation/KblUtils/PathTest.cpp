#include <KblUtils/Path.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <utility>

using KBL::Path;
using KBL::PathUtil;

namespace {

std::string normal(const std::string& path) {
  return PathUtil::normalizeSlash(Path(path)).string();
}
std::string absolute(const std::string& path) {
  return PathUtil::absolute(Path(path)).string();
}

}  // namespace

TEST(Path, IsAValue) {
  const Path one("/a/b");
  Path two = one;
  EXPECT_EQ(two.string(), "/a/b");
  two = Path("/c");
  const Path three(std::move(two));

  EXPECT_EQ(one.string(), "/a/b");
  EXPECT_EQ(three.string(), "/c");
}

TEST(Path, NormalFormHasSingleForwardSlashesAndNoneAtTheEnd) {
  EXPECT_EQ(normal("a\\b//c/"), "a/b/c");
  EXPECT_EQ(normal("/a///b\\\\c"), "/a/b/c");
  EXPECT_EQ(normal("/"), "/");
  EXPECT_EQ(normal("C:\\"), "C:/");
  EXPECT_EQ(normal("C:\\Users\\x\\"), "C:/Users/x");
  EXPECT_EQ(normal(""), "");
  EXPECT_EQ(normal("a"), "a");
}

TEST(Path, NormalFormKeepsDots) {
  EXPECT_EQ(normal("./a/../b/"), "./a/../b");
}

#if defined(_WIN32)
TEST(Path, NormalFormKeepsTheLeadingPairOfAServer) {
  EXPECT_EQ(normal("\\\\\\server\\\\x"), "//server/x");
}
#else
TEST(Path, NormalFormFoldsLeadingSlashes) {
  EXPECT_EQ(normal("//server//x"), "/server/x");
  EXPECT_EQ(normal("///"), "/");
}

TEST(Path, AbsoluteFormResolvesDotsAsText) {
  EXPECT_EQ(absolute("/a/./b/../c"), "/a/c");
  EXPECT_EQ(absolute("/a/b/"), "/a/b");
  EXPECT_EQ(absolute("/.."), "/");
  EXPECT_EQ(absolute("/"), "/");
  EXPECT_EQ(absolute("/no/such/../place"), "/no/place");
}
#endif

TEST(Path, AbsoluteFormStartsAtTheWorkingDirectory) {
  const std::u8string here = std::filesystem::current_path().generic_u8string();

  EXPECT_EQ(absolute("x/../y z"), std::string(here.begin(), here.end()) + "/y z");
  EXPECT_EQ(absolute("."), std::string(here.begin(), here.end()));
}

TEST(Path, NonAsciiTextStaysAsItIs) {
  const std::string name = "/K\xC3\xA4se/\xE6\xB5\x8B\xE8\xAF\x95/\xF0\x9F\x8E\xA5";

  EXPECT_TRUE(absolute(name).ends_with(name));
  EXPECT_EQ(normal(name + "/"), name);
}
