#include "sandbox/Sandbox.h"
#include "sandbox/TestClient.h"
#include "sandbox/UploadSteps.h"
#include "sandbox/state/Database.h"
#include "sandbox/state/StateFile.h"
#include "sandbox/state/UploadBook.h"
#include "support/TemporaryDirectory.h"

#include <gmock/gmock.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

using sandbox::Platform;
using sandbox::Sandbox;
using sandbox::SandboxOptions;
using testing::HasSubstr;

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
  /// The file as another program sees it.
  [[nodiscard]] sandbox::Database database() const {
    return sandbox::Database(folder.file("state/sandbox.db"));
  }
  /// Why no sandbox starts here.
  [[nodiscard]] std::string refusal() const {
    try {
      const Sandbox server(options());
    } catch (const std::runtime_error& error) {
      return error.what();
    }
    return "it starts";
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

TEST_F(State, TokensThatAnotherRunEndedAreOverWhereTheyWereKnown) {
  const Sandbox server(options());
  Sandbox other(options());
  const sandbox::IssuedTokens expired = other.issueTokens(Platform::youtube);
  ASSERT_EQ(userInfo(server, expired.accessToken), 200);
  other.expireAccessTokens();
  EXPECT_EQ(userInfo(server, expired.accessToken), 401);

  const std::string account = other.issueAccountToken();
  const auto listing = [&] {
    return TestClient(server)
        .post("/account/token", R"({"refresh_token":"none"})", {bearer(account)})
        .json()["code"]
        .asInt();
  };
  const int known = listing();
  other.expireAccountTokens();
  EXPECT_NE(listing(), known);
}

TEST_F(State, ARefreshTokenIsSpentByOneAlone) {
  constexpr std::size_t count = 40;
  std::vector<std::string> tokens(count);
  {
    Sandbox issuer(options());
    for (std::string& token : tokens) token = issuer.issueTokens(Platform::youtube).refreshToken;
  }
  Sandbox first(options());
  Sandbox second(options());
  std::atomic<std::size_t> spent = 0;
  {
    const auto spendAll = [&](Sandbox& server) {
      for (const std::string& token : tokens) spent += refresh(server, token) == 0 ? 1 : 0;
    };
    const std::jthread one([&] { spendAll(first); });
    const std::jthread other([&] { spendAll(second); });
  }

  EXPECT_EQ(spent, count);
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

TEST_F(State, WhatCannotBeWrittenIsWrittenNextTime) {
  Sandbox server(options());
  const sandbox::IssuedTokens tokens = server.issueTokens(Platform::youtube);
  database().run("alter table tokens rename to elsewhere");
  EXPECT_THROW(server.expireAccessTokens(), std::runtime_error);
  database().run("alter table elsewhere rename to tokens");
  server.stop();

  EXPECT_EQ(userInfo(Sandbox(options()), tokens.accessToken), 401);
}

TEST_F(State, IsWrittenByTheRow) {
  Sandbox server(options());
  const std::string first = server.issueAccountToken();
  const auto changeOf = [&](const std::string& token) {
    return database().numberOf("select change from tokens where id = '" + token + "'");
  };
  const std::int64_t before = changeOf(first);
  const std::string second = server.issueAccountToken();

  EXPECT_GT(before, 0);
  EXPECT_EQ(changeOf(first), before);
  EXPECT_GT(changeOf(second), before);
}

TEST_F(State, AnUploadThatWasRemovedIsGoneForAll) {
  sandbox::UploadBook book(true);
  sandbox::UploadBook other(true);
  sandbox::StateFile file(folder.file("state"), {book.table()});
  sandbox::StateFile others(folder.file("state"), {other.table()});
  sandbox::UploadRecord upload;
  upload.service = "vimeo";
  const std::string id = book.addComplete(upload);
  file.save();
  others.load();
  ASSERT_TRUE(other.byMediaId("vimeo", id));

  ASSERT_TRUE(book.remove("vimeo", id));
  file.save();
  others.load();
  EXPECT_FALSE(other.byMediaId("vimeo", id));
  sandbox::UploadBook later(true);
  const sandbox::StateFile again(folder.file("state"), {later.table()});
  EXPECT_TRUE(later.all().empty());
  EXPECT_EQ(database().numberOf("select count(*) from uploads"), 0);
}

TEST_F(State, TokensThatAreLongOverGo) {
  { const Sandbox server(options()); }
  database().run(R"(insert into tokens values('old', 0, '{"kind":"access","expiry":1,"revoked":false}'))");
  { const Sandbox server(options()); }

  EXPECT_EQ(database().numberOf("select count(*) from tokens where id = 'old'"), 0);
}

TEST_F(State, TokensThatWereSpentGoLikeOthers) {
  const auto expiryOf = [&](const std::string& token) {
    return database().numberOf("select json_extract(record, '$.expiry') from tokens where id = '" + token +
                               "'");
  };
  Sandbox server(options());
  const sandbox::IssuedTokens tokens = server.issueTokens(Platform::youtube);
  EXPECT_EQ(expiryOf(tokens.refreshToken), 0) << "good without an end";
  EXPECT_EQ(refresh(server, tokens.refreshToken), 0);
  EXPECT_GT(expiryOf(tokens.refreshToken), 0);

  database().run(
      R"(insert into tokens select 'former', change + 1, '{"kind":"refresh","expiry":0,"revoked":true}'
                    from counter; update counter set change = change + 1)");
  server.issueAccountToken();
  EXPECT_GT(expiryOf("former"), 0) << "of a version that did not say when";
}

TEST_F(State, WhatAnotherRunTellsOfAnUploadIsTakenIn) {
  sandbox::UploadBook book(true);
  sandbox::UploadBook other(true);
  sandbox::StateFile file(folder.file("state"), {book.table()});
  sandbox::StateFile others(folder.file("state"), {other.table()});
  sandbox::UploadRecord upload;
  upload.service = "youtube";
  const std::string id = book.addComplete(upload);
  file.save();
  others.load();

  ASSERT_TRUE(book.annotate("youtube", id, "thumbnail", "new"));
  file.save();
  others.load();
  EXPECT_THAT(other.byMediaId("youtube", id)->metadata, HasSubstr("new"));

  ASSERT_TRUE(book.annotate("youtube", id, "thumbnail", "newer"));
  file.save();
  ASSERT_TRUE(other.annotate("youtube", id, "thumbnail", "own"));
  others.load();
  EXPECT_THAT(other.byMediaId("youtube", id)->metadata, HasSubstr("own")) << "not yet written";
}

TEST_F(State, RemovedUploadsAreNotCounted) {
  sandbox::UploadBook book;
  sandbox::UploadRecord upload;
  upload.service = "vimeo";
  const std::string first = book.addComplete(upload);
  const std::string second = book.addComplete(upload);
  const std::string third = book.addComplete(upload);
  ASSERT_TRUE(book.remove("vimeo", third));

  const std::vector<sandbox::UploadRecord> latest = book.latest(2);
  ASSERT_EQ(latest.size(), 2U);
  EXPECT_EQ(latest[0].mediaId, first);
  EXPECT_EQ(latest[1].mediaId, second);
  EXPECT_TRUE(book.waitForComplete(2, std::chrono::milliseconds(0)));
  EXPECT_FALSE(book.waitForComplete(3, std::chrono::milliseconds(0)));
}

TEST_F(State, RowOfTheWrongTypesCountsForNothing) {
  { const Sandbox server(options()); }
  database().run(R"(insert into tokens values('a', 0, 'no json');
                    insert into tokens values('b', 0, '[1]');
                    insert into tokens values('c', 0, '{"kind":7,"expiry":"x","revoked":0}');
                    insert into users values('d', 0, '1');
                    insert into uploads values('e', 0, 'null'))");
  const Sandbox server(options());

  EXPECT_EQ(server.users().size(), 3U);
  EXPECT_TRUE(server.uploads().empty());
  for (const char* token : {"a", "b", "c"}) EXPECT_EQ(userInfo(server, token), 401) << token;
}

TEST_F(State, FileThatIsNoDatabaseIsRefusedAndLeftAsItIs) {
  std::filesystem::create_directories(folder.file("state"));
  const std::string text = "somebody's own words, longer than a database's head: " + std::string(200, '.');
  folder.write("state/sandbox.db", text);

  EXPECT_THAT(refusal(),
              HasSubstr("can't read the state in " + folder.file("state") + "/sandbox.db: file is not"));
  EXPECT_THAT(refusal(), HasSubstr("move the file away"));
  EXPECT_EQ(folder.read("state/sandbox.db"), text);
}

TEST_F(State, DamagedDatabaseIsRefused) {
  { Sandbox(options()).issueAccountToken(); }
  std::string text = folder.read("state/sandbox.db");
  const std::size_t page = 4096;
  ASSERT_GT(text.size(), 2 * page);
  text.replace(page, text.size() - page, text.size() - page, '#');
  folder.write("state/sandbox.db", text);

  EXPECT_THAT(refusal(), HasSubstr("can't read the state in "));
}

TEST_F(State, DatabaseOfAnotherProgramIsRefused) {
  std::filesystem::create_directories(folder.file("state"));
  folder.write("state/sandbox.db", "");
  database().run("create table letters(text)");
  const std::string before = folder.read("state/sandbox.db");

  EXPECT_THAT(refusal(), HasSubstr("it is a database of another program"));
  EXPECT_EQ(folder.read("state/sandbox.db"), before);
}

TEST_F(State, DatabaseOfALaterVersionIsRefused) {
  { const Sandbox server(options()); }
  database().run("pragma user_version = 2");
  const std::string before = folder.read("state/sandbox.db");

  EXPECT_THAT(refusal(), HasSubstr("a later version of the sandbox wrote it"));
  EXPECT_EQ(folder.read("state/sandbox.db"), before);
}

TEST_F(State, EmptyFileIsANewOne) {
  std::filesystem::create_directories(folder.file("state"));
  folder.write("state/sandbox.db", "");
  Sandbox server(options());

  EXPECT_EQ(userInfo(server, server.issueTokens(Platform::youtube).accessToken), 200);
}

TEST_F(State, JsonOfAFormerVersionIsTakenOverOnce) {
  std::filesystem::create_directories(folder.file("state"));
  folder.write("state/sandbox.json", R"({
    "accounts": {
      "users": {"new-1": {"open_id": "new-1", "name": "New One", "given_name": "New"}, "u": 1},
      "tokens": {
        "good": {"kind": "access", "platform": 0, "open_id": "new-1", "expiry": 0, "revoked": false},
        "spent": {"kind": "refresh", "platform": 0, "open_id": "new-1", "expiry": 0, "revoked": true}, "s": 2}},
    "uploads": {"1": {"service": "youtube", "upload_id": "1", "media_id": "m", "received_size": 7, "complete": true}}})");
  for (const char* run : {"the first", "the second"}) {
    Sandbox server(options());
    EXPECT_EQ(server.users().back().name, "New One") << run;
    EXPECT_EQ(userInfo(server, "good"), 200) << run;
    EXPECT_EQ(refresh(server, "spent"), 40103) << run;
    ASSERT_TRUE(server.uploadByMediaId("m")) << run;
    EXPECT_EQ(server.uploadByMediaId("m")->receivedSize, 7U) << run;
    EXPECT_FALSE(std::filesystem::exists(folder.file("state/sandbox.json"))) << run;
  }
}

TEST_F(State, JsonThatCannotBeReadIsRefusedAndLeftAsItIs) {
  std::filesystem::create_directories(folder.file("state"));
  for (const char* text : {"", "no json", "[1,2]"}) {
    folder.write("state/sandbox.json", text);

    EXPECT_THAT(refusal(), HasSubstr("sandbox.json: it is no JSON object; move the file away")) << text;
    EXPECT_EQ(folder.read("state/sandbox.json"), text);
  }
}

TEST_F(State, ManyAtOnceBeginWithAnEmptyFolder) {
  std::vector<std::unique_ptr<Sandbox>> servers(8);
  std::vector<std::string> tokens(servers.size());
  {
    std::vector<std::jthread> starters;
    for (std::size_t at = 0; at < servers.size(); ++at) {
      starters.emplace_back([&, at] {
        servers[at] = std::make_unique<Sandbox>(options());
        tokens[at] = servers[at]->issueTokens(Platform::youtube).accessToken;
      });
    }
  }

  for (const std::string& token : tokens) EXPECT_EQ(userInfo(*servers.front(), token), 200);
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
