#include "sandbox/JsonText.h"
#include "sandbox/TestClient.h"
#include "support/TemporaryDirectory.h"
#include "support/WaitUntil.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace {

using testing::HasSubstr;

// The program in a process of its own, its output in a file.
class Program {
 public:
  Program(std::vector<std::string> arguments, const std::string& outputFile) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, outputFile.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    posix_spawn_file_actions_adddup2(&actions, 1, 2);
    arguments.insert(arguments.begin(), SANDBOX_PROGRAM);
    std::vector<char*> pointers;
    for (std::string& argument : arguments) pointers.push_back(argument.data());
    pointers.push_back(nullptr);
    started_ = posix_spawn(&process_, SANDBOX_PROGRAM, &actions, nullptr, pointers.data(), environ) == 0;
    posix_spawn_file_actions_destroy(&actions);
  }
  ~Program() {
    if (started_) {
      ::kill(process_, SIGKILL);
      ::waitpid(process_, nullptr, 0);
    }
  }
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;

  void signal(int number) const { ::kill(process_, number); }
  // The exit code; -1 when a signal ended the program.
  int wait() {
    int status = 0;
    ::waitpid(process_, &status, 0);
    started_ = false;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

 private:
  pid_t process_ = 0;
  bool started_ = false;
};

class SandboxProgram : public testing::Test {
 protected:
  std::string output() { return folder.read("output"); }
  // The address that the program printed; it listens from then on.
  std::string address() {
    const std::string mark = "listening on ";
    EXPECT_TRUE(waitUntil([&] { return output().find('\n') != std::string::npos; }));
    const std::string text = output();
    const std::size_t start = text.find(mark) + mark.size();
    return text.substr(start, text.find('\n') - start);
  }

  std::string pathAfter(const std::string& mark) {
    const std::string text = output();
    const std::size_t start = text.find(mark) + mark.size();
    return text.substr(start, text.find('\n', start) - start);
  }

  TemporaryDirectory folder;
};

std::string readFile(const std::string& path) {
  const std::ifstream file(path, std::ios::binary);
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

TEST_F(SandboxProgram, PrintsItsConfigurationAndEndsOnTerminate) {
  Program program({}, folder.file("output"));
  const std::string base = address();
  ASSERT_TRUE(waitUntil([&] { return output().find("\n}\n") != std::string::npos; }));
  const std::string text = output();

  const auto config = sandbox::parseJson(text.substr(text.find('{')));
  ASSERT_TRUE(config);
  EXPECT_EQ((*config)["urlLFServerUserSupportCode"], base + "/account/code");
  EXPECT_EQ(TestClient(base, "").get("/sandbox/uploads").status, 200);
  const std::string services = pathAfter("script services: ");
  const Json::Value table = sandbox::parseJson(readFile(services)).value_or(Json::Value(Json::objectValue));
  EXPECT_EQ(table["vimeoApi"], base + "/vimeo");
  EXPECT_EQ(TestClient(base, "").get("/sandbox/services").json(), table);
  program.signal(SIGTERM);
  EXPECT_EQ(program.wait(), 0);
  EXPECT_FALSE(std::filesystem::exists(services));
}

TEST_F(SandboxProgram, WritesItsConfigurationAndEndsOnInterrupt) {
  Program program(
      {"--config-file", folder.file("config.json"), "--state-dir", folder.file("state"), "--consent", "ask"},
      folder.file("output"));
  const std::string base = address();

  ASSERT_TRUE(waitUntil([&] { return sandbox::parseJson(folder.read("config.json")).has_value(); }));
  EXPECT_THAT(folder.read("config.json"), HasSubstr(base + "/account/code"));
  EXPECT_EQ(pathAfter("script services: "), folder.file("state") + "/script_services.json");
  EXPECT_THAT(folder.read("state/script_services.json"), HasSubstr(base + "/vimeo"));
  program.signal(SIGINT);
  EXPECT_EQ(program.wait(), 0);
  EXPECT_THAT(folder.read("state/sandbox.json"), HasSubstr("tokens"));
}

TEST_F(SandboxProgram, ServesTls) {
  const Program program({"--tls", "--state-dir", folder.file("state")}, folder.file("output"));
  const std::string base = address();

  EXPECT_EQ(TestClient(base, folder.file("state") + "/authority.pem").get("/sandbox/uploads").status, 200);
}

TEST_F(SandboxProgram, TakenPortEndsWithOneLine) {
  const sandbox::Sandbox taken;
  Program program({"--port", std::to_string(taken.port())}, folder.file("output"));

  EXPECT_EQ(program.wait(), 1);
  EXPECT_EQ(output(), "sandbox: port " + std::to_string(taken.port()) + " is taken or not allowed\n");
}

TEST_F(SandboxProgram, WrongUseIsTwo) {
  EXPECT_EQ(Program({"--port", "many"}, folder.file("output")).wait(), 2);
  EXPECT_EQ(Program({"--consent", "maybe"}, folder.file("output")).wait(), 2);
  EXPECT_EQ(Program({"--help"}, folder.file("output")).wait(), 0);
}

}  // namespace
