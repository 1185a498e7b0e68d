#include "host/ScriptLogins.h"
#include "host/ScriptSession.h"
#include "options/CommandLine.h"
#include "options/Failure.h"
#include "support/TemporaryDirectory.h"
#include "system/StandardInput.h"
#include <BsNet/cipher.h>

#include <gtest/gtest.h>
#if defined(_WIN32)
#include <fcntl.h>
#include <io.h>
#include <windows.h>
#else
#include <unistd.h>
#endif

#include <array>

namespace host {
namespace {

class ScriptLoginsTest : public testing::Test {
 protected:
  ScriptLoginsTest() { KBL::setKeyStore(KBL::makeFileKeyStore(folder.file("keys"))); }
  ~ScriptLoginsTest() override { KBL::setKeyStore(nullptr); }

  TemporaryDirectory folder;
  const ScriptLogins logins{folder.path().string(), "vimeo"};
};

TEST_F(ScriptLoginsTest, KeepsTextsOfAnyKind) {
  for (const ScriptLogin& login :
       {ScriptLogin{"uuid", std::string(4095, 't'), "Zo\xC3\xAB\n:3:x", "Music|Sport|",
                    "https://one https://two"},
        ScriptLogin{"u", "a short token", "", "", ""},
        ScriptLogin{"", std::string("a\0b", 3), "5:", std::string(60000, '|'), std::string(300, 'o')}}) {
    logins.save(login);
    const auto loaded = logins.load();
    ASSERT_TRUE(loaded);
    EXPECT_EQ(loaded->user, login.user);
    EXPECT_EQ(loaded->token, login.token);
    EXPECT_EQ(loaded->name, login.name);
    EXPECT_EQ(loaded->categories, login.categories);
    EXPECT_EQ(loaded->origin, login.origin);
    EXPECT_EQ(folder.read("vimeo_script_login").find(login.token + login.name), std::string::npos);
  }
}

TEST_F(ScriptLoginsTest, ReadsALoginOfAFormerVersionWithoutAnOrigin) {
  std::string text = "28:mediatransfer script login 14:uuid5:token4:name6:Music|";
  text.resize((text.size() + 15) / 16 * 16, '\0');
  ASSERT_EQ(KBL::aes256Encrypt(text.data(), text.data(), static_cast<unsigned>(text.size())), KBL::resultOk);
  folder.write("vimeo_script_login", text);
  const auto loaded = logins.load();
  ASSERT_TRUE(loaded);
  EXPECT_EQ(loaded->token, "token");
  EXPECT_EQ(loaded->categories, "Music|");
  EXPECT_EQ(loaded->origin, "");
}

TEST_F(ScriptLoginsTest, ForgetsOnce) {
  EXPECT_FALSE(logins.load());
  EXPECT_FALSE(logins.forget());
  logins.save({"u", "t", "n", "", ""});
  EXPECT_TRUE(logins.forget());
  EXPECT_FALSE(logins.load());
}

TEST_F(ScriptLoginsTest, PlatformsAreKeptApart) {
  const ScriptLogins other(folder.path().string(), "flickr");
  logins.save({"u", "t", "n", "", ""});
  EXPECT_FALSE(other.load());
}

TEST_F(ScriptLoginsTest, EveryDamagedByteAndLengthIsSurvived) {
  logins.save({"uuid", "token", "name", "categories", "https://origin"});
  const std::string whole = folder.read("vimeo_script_login");
  for (std::size_t at = 0; at < whole.size(); ++at) {
    std::string damaged = whole;
    damaged[at] = static_cast<char>(damaged[at] ^ 0x55);
    folder.write("vimeo_script_login", damaged);
    (void)logins.load();
    folder.write("vimeo_script_login", whole.substr(0, at));
    EXPECT_FALSE(logins.load()) << at;
  }
}

TEST_F(ScriptLoginsTest, AnotherKeyReadsAsNobody) {
  logins.save({"uuid", "token", "name", "", ""});
  KBL::setKeyStore(KBL::makeFileKeyStore(folder.file("other")));
  EXPECT_FALSE(logins.load());
}

TEST_F(ScriptLoginsTest, FolderThatIsGoneIsTold) {
  const ScriptLogins nowhere(folder.file("none"), "vimeo");
  EXPECT_THROW(nowhere.save({"u", "t", "n", "", ""}), Failure);
}

bool goesThroughScript(const std::vector<std::string>& arguments) {
  return usesScript(std::get<Options>(parseCommandLine(arguments)));
}

TEST(ScriptPath, IsThatOfTheUpload) {
  for (const char* platform : {"facebook", "vimeo", "flickr", "instagram", "twitch"}) {
    for (const char* command : {"login", "verify", "whoami", "logout"}) {
      EXPECT_TRUE(goesThroughScript({command, platform})) << command << " " << platform;
    }
    EXPECT_TRUE(goesThroughScript({"upload", platform, "x.mp4"})) << platform;
  }
  for (const char* platform : {"youtube", "tiktok", "douyin"}) {
    EXPECT_FALSE(goesThroughScript({"login", platform})) << platform;
    EXPECT_FALSE(goesThroughScript({"upload", platform, "x.mp4"})) << platform;
  }
}

TEST(ScriptPath, OptionsChooseTheOtherOne) {
  for (const char* command : {"login", "verify", "whoami", "logout"}) {
    EXPECT_TRUE(goesThroughScript({command, "youtube", "--script"})) << command;
    EXPECT_FALSE(goesThroughScript({command, "vimeo", "--manager"})) << command;
  }
  EXPECT_TRUE(goesThroughScript({"upload", "youtube", "x.mp4", "--script"}));
  EXPECT_FALSE(goesThroughScript({"albums", "facebook"}));
}

#if defined(_WIN32)
constexpr int standardInput = 0;

int makePipe(std::array<int, 2>& ends) {
  return ::_pipe(ends.data(), 1 << 17, _O_BINARY);
}

bool putInto(int pipe, const std::string& text) {
  return ::_write(pipe, text.data(), static_cast<unsigned>(text.size())) == static_cast<int>(text.size());
}
#else
constexpr int standardInput = STDIN_FILENO;

int makePipe(std::array<int, 2>& ends) {
  return ::pipe(ends.data());
}

bool putInto(int pipe, const std::string& text) {
  return ::write(pipe, text.data(), text.size()) == static_cast<ssize_t>(text.size());
}
#endif

// The standard input of this process, replaced by a pipe.
class StandardInputTest : public testing::Test {
 protected:
  StandardInputTest() : former_(::dup(standardInput)) {
    EXPECT_EQ(makePipe(pipe_), 0);
    ::dup2(pipe_[0], standardInput);
    ::close(pipe_[0]);
  }
  ~StandardInputTest() override {
    end();
    ::dup2(former_, standardInput);
    ::close(former_);
  }
  void say(const std::string& text) { EXPECT_TRUE(putInto(pipe_[1], text)); }
  void end() {
    if (pipe_[1] >= 0) ::close(pipe_[1]);
    pipe_[1] = -1;
  }
  StandardInput::State next(std::chrono::milliseconds limit = std::chrono::seconds(30)) {
    return input.next(line, limit);
  }

  StandardInput input;
  std::string line;

 private:
  const int former_;
  std::array<int, 2> pipe_{-1, -1};
};

TEST_F(StandardInputTest, LinesComeOneByOneWhateverTheirEnds) {
  say("one\ntwo\r\n\nlast");
  end();
  for (const char* expected : {"one", "two", ""}) {
    ASSERT_EQ(next(), StandardInput::State::line);
    EXPECT_EQ(line, expected);
  }
  StandardInput::State state = next();
  while (state == StandardInput::State::nothing) state = next();
  EXPECT_EQ(state, StandardInput::State::line);
  EXPECT_EQ(line, "last");
  EXPECT_EQ(next(), StandardInput::State::ended);
  EXPECT_EQ(next(), StandardInput::State::ended);
}

#if defined(_WIN32)
TEST(StandardInputOfNothing, HasEnded) {
  const HANDLE former = GetStdHandle(STD_INPUT_HANDLE);
  for (const HANDLE none : {HANDLE{nullptr}, INVALID_HANDLE_VALUE}) {
    StandardInput input;
    std::string line;
    SetStdHandle(STD_INPUT_HANDLE, none);
    EXPECT_EQ(input.next(line, std::chrono::seconds(30)), StandardInput::State::ended);
  }
  SetStdHandle(STD_INPUT_HANDLE, former);
}
#endif

TEST_F(StandardInputTest, NothingIsWaitedForLongerThanAsked) {
  EXPECT_EQ(next(std::chrono::milliseconds(1)), StandardInput::State::nothing);
  say("half");
  EXPECT_EQ(next(), StandardInput::State::nothing);
  say(" a line\n");
  EXPECT_EQ(next(), StandardInput::State::line);
  EXPECT_EQ(line, "half a line");
}

TEST_F(StandardInputTest, EndlessLineIsCut) {
  say(std::string(40000, 'x'));
  EXPECT_EQ(next(), StandardInput::State::nothing);
  StandardInput::State state = next(std::chrono::milliseconds(0));
  while (state == StandardInput::State::nothing && line.empty()) {
    say(std::string(4096, 'x'));
    state = next();
  }
  EXPECT_EQ(state, StandardInput::State::line);
  EXPECT_GE(line.size(), 65536U);
}

}  // namespace
}  // namespace host
