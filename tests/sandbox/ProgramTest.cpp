#include "sandbox/ProgramFixture.h"
#include "sandbox/TestClient.h"
#include "sandbox/base/JsonText.h"

#include <gmock/gmock.h>

#include <fstream>
#include <sstream>
#include <string>

namespace {

using testing::HasSubstr;

std::string readFile(const std::string& path) {
  const std::ifstream file(path, std::ios::binary);
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

TEST_F(SandboxProgram, PrintsItsConfiguration) {
  const ChildProcess program = run({});
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
}

TEST_F(SandboxProgram, WritesItsConfiguration) {
  const ChildProcess program = run(
      {"--config-file", folder.file("config.json"), "--state-dir", folder.file("state"), "--consent", "ask"});
  const std::string base = address();

  ASSERT_TRUE(waitUntil([&] { return sandbox::parseJson(folder.read("config.json")).has_value(); }));
  EXPECT_THAT(folder.read("config.json"), HasSubstr(base + "/account/code"));
  EXPECT_EQ(pathAfter("MEDIATRANSFER_SERVICES="), folder.file("state") + "/script_services.json");
  EXPECT_THAT(folder.read("state/script_services.json"), HasSubstr(base + "/vimeo"));
}

TEST_F(SandboxProgram, TokensOfAKilledRunAreKnownToTheNext) {
  std::vector<std::string> tokens;
  {
    ChildProcess program = run({"--state-dir", folder.file("state")});
    TestClient client(address(), "");
    for (int turn = 0; turn < 20; ++turn) {
      const std::string body = R"({"grant_type":"client_credentials","app_secret":"sandbox-app-secret"})";
      tokens.push_back(
          client.post("/account/client_credentials", body).json()["data"]["access_token"].asString());
    }
    program.kill();
    program.wait();
  }
  sandbox::SandboxOptions options;
  options.stateDir = folder.file("state");
  const sandbox::Sandbox later(options);

  for (const std::string& token : tokens) EXPECT_TRUE(later.token(token)) << token;
}

TEST_F(SandboxProgram, StateThatCannotBeReadEndsWithOneLine) {
  folder.write("sandbox.db", std::string(1000, '#'));
  ChildProcess program = run({"--state-dir", folder.file("")});

  EXPECT_EQ(program.wait(), 1);
  EXPECT_THAT(output(),
              HasSubstr("mediatransfer: the stand-in servers cannot start: can't read the state in "));
  EXPECT_EQ(output().find('\n'), output().size() - 1);
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
