#include "sandbox/TestClient.h"
#include "sandbox/base/JsonText.h"
#include "support/ChildProcess.h"
#include "support/TemporaryDirectory.h"
#include "support/WaitUntil.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace {

using testing::HasSubstr;

class SandboxProgram : public testing::Test {
 protected:
  /// The program in a process of its own, its output in a file.
  ChildProcess run(std::vector<std::string> options) {
    options.insert(options.begin(), {SANDBOX_PROGRAM, "sandbox"});
    return ChildProcess(options, folder.file("output"));
  }
  std::string output() { return folder.read("output"); }
  /// The address that the program printed; it listens from then on.
  std::string address() {
    const std::string mark = "stand-in servers listen on ";
    EXPECT_TRUE(waitUntil([&] { return output().find('\n') != std::string::npos; }));
    const std::string text = output();
    const std::size_t start = text.find(mark) + mark.size();
    return text.substr(start, text.find(';', start) - start);
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
  ChildProcess program = run({});
  const std::string base = address();
  ASSERT_TRUE(waitUntil([&] { return output().find("\n}\n") != std::string::npos; }));
  const std::string text = output();

  const auto config = sandbox::parseJson(text.substr(text.find('{')));
  ASSERT_TRUE(config);
  EXPECT_EQ((*config)["urlLFServerUserSupportCode"], base + "/account/code");
  EXPECT_EQ(TestClient(base, "").get("/sandbox/uploads").status, 200);
  const std::string services = pathAfter("MEDIATRANSFER_SERVICES=");
  const Json::Value table = sandbox::parseJson(readFile(services)).value_or(Json::Value(Json::objectValue));
  EXPECT_EQ(table["vimeoApi"], base + "/vimeo");
  EXPECT_EQ(TestClient(base, "").get("/sandbox/services").json(), table);
  program.terminate();
  EXPECT_EQ(program.wait(), 0);
  EXPECT_FALSE(std::filesystem::exists(services));
}

TEST_F(SandboxProgram, WritesItsConfigurationAndEndsOnInterrupt) {
  ChildProcess program = run(
      {"--config-file", folder.file("config.json"), "--state-dir", folder.file("state"), "--consent", "ask"});
  const std::string base = address();

  ASSERT_TRUE(waitUntil([&] { return sandbox::parseJson(folder.read("config.json")).has_value(); }));
  EXPECT_THAT(folder.read("config.json"), HasSubstr(base + "/account/code"));
  EXPECT_EQ(pathAfter("MEDIATRANSFER_SERVICES="), folder.file("state") + "/script_services.json");
  EXPECT_THAT(folder.read("state/script_services.json"), HasSubstr(base + "/vimeo"));
  program.interrupt();
  EXPECT_EQ(program.wait(), 0);
  EXPECT_THAT(folder.read("state/sandbox.json"), HasSubstr("tokens"));
}

TEST_F(SandboxProgram, ServesTls) {
  const ChildProcess program = run({"--tls", "--state-dir", folder.file("state")});
  const std::string base = address();

  EXPECT_EQ(TestClient(base, folder.file("state") + "/authority.pem").get("/sandbox/uploads").status, 200);
}

TEST_F(SandboxProgram, TakenPortEndsWithOneLine) {
  const sandbox::Sandbox taken;
  ChildProcess program = run({"--port", std::to_string(taken.port())});

  EXPECT_EQ(program.wait(), 1);
  EXPECT_EQ(output(), "mediatransfer: the stand-in servers cannot start: port " +
                          std::to_string(taken.port()) +
                          " is taken or not allowed; try another --port or --state-dir\n");
}

TEST_F(SandboxProgram, WrongUseIsTwo) {
  EXPECT_EQ(run({"--port", "many"}).wait(), 2);
  EXPECT_EQ(run({"--consent", "maybe"}).wait(), 2);
  EXPECT_EQ(run({"--help"}).wait(), 0);
}

}  // namespace
