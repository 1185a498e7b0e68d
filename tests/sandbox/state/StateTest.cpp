#include "sandbox/Sandbox.h"
#include "sandbox/TestClient.h"
#include "sandbox/UploadSteps.h"
#include "support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace {

using sandbox::Platform;
using sandbox::Sandbox;
using sandbox::SandboxOptions;

class State : public testing::Test {
 protected:
  [[nodiscard]] SandboxOptions options() const {
    SandboxOptions wanted;
    wanted.stateDir = folder.file("state");
    return wanted;
  }
  static int userInfo(const Sandbox& server, const std::string& token) {
    return TestClient(server).get("/google/oauth2/v2/userinfo?alt=json&access_token=" + token).status;
  }
  static int refresh(Sandbox& server, const std::string& refreshToken) {
    return TestClient(server)
        .post("/account/token", R"({"refresh_token":")" + refreshToken + "\"}",
              {bearer(server.issueAccountToken())})
        .json()["code"]
        .asInt();
  }

  TemporaryDirectory folder;
};

TEST_F(State, TokensUsersAndUploadsSurvive) {
  sandbox::IssuedTokens tokens;
  sandbox::UploadRecord upload;
  {
    Sandbox server(options());
    TestClient client(server);
    server.addUser({"new-1", "new@example.com", "New One", "New", "One", "fr"});
    tokens = server.issueTokens(Platform::youtube, "new-1");
    const std::string file = someFile(5000);
    putChunk(client, openUpload(client, tokens.accessToken, file.size()), tokens.accessToken, file, 0,
             file.size());
    upload = server.uploads()[0];
  }
  Sandbox later(options());

  EXPECT_EQ(userInfo(later, tokens.accessToken), 200);
  EXPECT_EQ(refresh(later, tokens.refreshToken), 0);
  EXPECT_EQ(later.users().back().name, "New One");
  const auto found = later.uploadByMediaId(upload.mediaId);
  ASSERT_TRUE(found);
  EXPECT_TRUE(found->complete);
  EXPECT_EQ(found->sha256, upload.sha256);
  EXPECT_EQ(found->receivedSize, 5000U);
  EXPECT_EQ(found->metadata, upload.metadata);
}

TEST_F(State, TokensOfAnotherRunExpireToo) {
  const Sandbox server(options());
  Sandbox other(options());
  const std::string token = other.issueTokens(Platform::youtube).accessToken;

  EXPECT_EQ(TestClient(server).post("/sandbox/tokens/expire", "{}").status, 200);
  EXPECT_EQ(userInfo(server, token), 401);
}

TEST_F(State, RefusalsSurviveToo) {
  sandbox::IssuedTokens spent;
  sandbox::IssuedTokens expired;
  {
    Sandbox server(options());
    spent = server.issueTokens(Platform::youtube);
    EXPECT_EQ(refresh(server, spent.refreshToken), 0);
    expired = server.issueTokens(Platform::youtube);
    server.expireAccessTokens();
  }
  Sandbox later(options());

  EXPECT_EQ(refresh(later, spent.refreshToken), 40103);
  EXPECT_EQ(userInfo(later, expired.accessToken), 401);
  EXPECT_EQ(refresh(later, expired.refreshToken), 0);
}

TEST_F(State, UnfinishedUploadsAreForgotten) {
  {
    Sandbox server(options());
    TestClient client(server);
    EXPECT_NE(openUpload(client, server.issueTokens(Platform::youtube).accessToken, 100), "");
    EXPECT_EQ(server.uploads().size(), 1U);
  }

  EXPECT_TRUE(Sandbox(options()).uploads().empty());
}

TEST_F(State, TwoAtOnceKnowEachOthersTokensAndLoseNone) {
  Sandbox first(options());
  Sandbox second(options());
  const sandbox::IssuedTokens ofFirst = first.issueTokens(Platform::youtube);
  const sandbox::IssuedTokens ofSecond = second.issueTokens(Platform::youtube);

  EXPECT_EQ(userInfo(second, ofFirst.accessToken), 200);
  EXPECT_EQ(userInfo(first, ofSecond.accessToken), 200);
  EXPECT_EQ(refresh(first, ofSecond.refreshToken), 0);
  EXPECT_EQ(refresh(second, ofSecond.refreshToken), 40103) << "the other has spent it";
  first.stop();
  second.stop();
  const Sandbox later(options());
  EXPECT_EQ(userInfo(later, ofFirst.accessToken), 200);
  EXPECT_EQ(userInfo(later, ofSecond.accessToken), 200);
}

TEST_F(State, FileThatCannotBeReadCountsAsEmpty) {
  for (const char* text :
       {"", "no json", "[1,2]", R"({"accounts":7,"uploads":[]})",
        R"({"accounts":{"users":{"u":1},"tokens":{"t":{"expiry":"x"},"s":2}},"uploads":{"a":1}})"}) {
    std::filesystem::create_directories(folder.file("state"));
    folder.write("state/sandbox.json", text);
    Sandbox server(options());
    EXPECT_EQ(server.users().size(), 3U) << text;
    EXPECT_EQ(userInfo(server, server.issueTokens(Platform::youtube).accessToken), 200) << text;
    EXPECT_EQ(userInfo(server, "t"), 401) << text;
  }
}

TEST_F(State, FolderThatCannotBeUsedIsAnError) {
  folder.write("state", "a file");

  EXPECT_THROW(const Sandbox server(options()), std::runtime_error);
}

TEST_F(State, AuthorityLiesInTheFolder) {
  SandboxOptions wanted = options();
  wanted.tls = true;
  const Sandbox server(wanted);

  EXPECT_EQ(server.caFile(), folder.file("state") + "/authority.pem");
}

}  // namespace
