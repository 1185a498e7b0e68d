#include "options/ConfigFile.h"
#include "options/Failure.h"
#include "support/TemporaryDirectory.h"
#include "system/Files.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace host {
namespace {

using testing::AllOf;
using testing::HasSubstr;

class ConfigFiles : public testing::Test {
 protected:
  ConfigFile withText(const std::string& text) {
    EXPECT_TRUE(writeFile(path_, text));
    return ConfigFile(path_);
  }
  [[nodiscard]] std::string text() const { return contentsOf(path_); }

  TemporaryDirectory folder_;
  std::string path_ = (folder_.path() / "config").string();
};

TEST_F(ConfigFiles, OneThatIsNotThereIsEmpty) {
  const ConfigFile file(path_);
  EXPECT_EQ(file.trouble(), "");
  EXPECT_FALSE(file.value("proxy"));
}

TEST_F(ConfigFiles, ReadsKeysBetweenBlanksAndComments) {
  const ConfigFile file = withText("# mine\r\n\r\n  app-id =  a = b \t\r\njson=true\r\n");
  EXPECT_EQ(file.trouble(), "");
  EXPECT_EQ(file.value("app-id"), "a = b");
  EXPECT_EQ(file.value("json"), "true");
}

TEST_F(ConfigFiles, TheLastLineOfAKeyHolds) {
  EXPECT_EQ(withText("app-id = one\napp-id = two\n").value("app-id"), "two");
}

TEST_F(ConfigFiles, NameTheLineThatTheyCannotUse) {
  EXPECT_THAT(withText("\nproxi = x\n").trouble(), HasSubstr("line 2"));
  EXPECT_THAT(withText("proxi = x\n").trouble(), HasSubstr("unknown key 'proxi' (did you mean proxy?)"));
  EXPECT_THAT(withText("json\n").trouble(), HasSubstr("is not KEY = VALUE"));
  EXPECT_THAT(withText("json =\n").trouble(), HasSubstr("is not KEY = VALUE"));
  EXPECT_THAT(withText("json = perhaps\n").trouble(), HasSubstr("give true or false"));
}

TEST_F(ConfigFiles, TroubleTellsNoValue) {
  EXPECT_THAT(withText("app-secrte = hush-hush\n").trouble(), Not(HasSubstr("hush")));
  EXPECT_THAT(withText("proxy = http://u:hush-hush@h\n").trouble(), Not(HasSubstr("hush")));
  for (const char* text : {"app-secret: hush=hush\n", "app-secret hush=hush\n", "app-secret\thush=hush\n"}) {
    EXPECT_THAT(withText(text).trouble(), AllOf(HasSubstr("is not KEY = VALUE"), Not(HasSubstr("hush"))));
  }
}

TEST_F(ConfigFiles, GoodLinesHoldBesideABadOne) {
  const ConfigFile file = withText("nonsense = 1\napp-id = mine\n");
  EXPECT_EQ(file.value("app-id"), "mine");
}

TEST_F(ConfigFiles, ChangeOneKeyAndKeepTheRest) {
  ConfigFile file = withText("# mine\napp-id = one\njson = true\napp-id = two\n");
  file.set("app-id", "three");
  file.set("proxy", "http://h:1");
  file.save();
  EXPECT_EQ(text(), "# mine\napp-id = three\njson = true\nproxy = http://h:1\n");
  EXPECT_TRUE(file.unset("json"));
  EXPECT_FALSE(file.unset("json"));
  file.save();
  EXPECT_EQ(text(), "# mine\napp-id = three\nproxy = http://h:1\n");
}

#if !defined(_WIN32)  // files have the rights of their folder there, and links need rights of their own
TEST_F(ConfigFiles, AreForTheirOwnerAlone) {
  ConfigFile file(configPath((folder_.path() / "new").string(), "work"));
  file.set("app-secret", "hush-hush");
  file.save();
  using std::filesystem::perms;
  const auto path = folder_.path() / "new" / "profiles" / "work";
  EXPECT_EQ(std::filesystem::status(path).permissions() & perms::all, perms::owner_read | perms::owner_write);
}

TEST_F(ConfigFiles, ALinkStaysOne) {
  const auto target = folder_.path() / "kept-elsewhere";
  EXPECT_TRUE(writeFile(target.string(), "json = true\n"));
  std::filesystem::create_symlink(target, path_);
  ConfigFile file(path_);
  file.set("quiet", "true");
  file.save();
  EXPECT_TRUE(std::filesystem::is_symlink(path_));
  EXPECT_EQ(contentsOf(target.string()), "json = true\nquiet = true\n");
}
#endif

TEST_F(ConfigFiles, AFolderInTheirPlaceIsToldAndNotReplaced) {
  std::filesystem::create_directory(path_);
  ConfigFile file(path_);
  EXPECT_THAT(file.trouble(), HasSubstr("cannot be read"));
  file.set("json", "true");
  EXPECT_THROW(file.save(), Failure);
  EXPECT_TRUE(std::filesystem::is_directory(path_));
}

TEST_F(ConfigFiles, OneThatIsTooLargeIsNotRead) {
  EXPECT_THAT(withText(std::string((1 << 20) + 1, '\n')).trouble(), HasSubstr("cannot be read"));
}

}  // namespace
}  // namespace host
