#include "options/CommandLine.h"
#include "options/Failure.h"
#include <ExternlMediaTransfer/Version.h>

#include <gtest/gtest.h>

namespace host {
namespace {

Options parsed(const std::vector<std::string>& arguments) {
  return std::get<Options>(parseCommandLine(arguments));
}

TEST(CommandLine, UploadTakesEverythingThatARecordHolds) {
  const Options options =
      parsed({"--cloud-config", "c.json",      "upload", "youtube", "v.mp4",      "--title",    "-t",
              "--description",  "d",           "--tags", "a,b",     "--category", "c",          "--privacy",
              "public",         "--thumbnail", "t.png",  "--user",  "u",          "--patience", "7"});
  EXPECT_EQ(options.command, Command::upload);
  EXPECT_EQ(options.platform->name, "youtube");
  EXPECT_EQ(options.files, std::vector<std::string>{"v.mp4"});
  EXPECT_EQ(options.title, "-t");
  EXPECT_EQ(options.description, "d");
  EXPECT_EQ(options.tags, "a,b");
  EXPECT_EQ(options.category, "c");
  EXPECT_EQ(options.privacy, "public");
  EXPECT_EQ(options.thumbnail, "t.png");
  EXPECT_EQ(options.user, "u");
  EXPECT_EQ(options.patienceSeconds, 7);
}

TEST(CommandLine, AnEmptyApplicationOfTheSandboxIsNotTheUsualOne) {
  const Options usual = parsed({"sandbox"});
  EXPECT_FALSE(usual.acceptedId || usual.acceptedSecret || usual.acceptedRedirect);
  const Options any = parsed({"sandbox", "--app-id", "", "--app-secret", "", "--app-redirect", ""});
  EXPECT_EQ(any.acceptedId, "");
  EXPECT_EQ(any.acceptedSecret, "");
  EXPECT_EQ(any.acceptedRedirect, "");
  EXPECT_EQ(parsed({"--app-id", "mine", "sandbox"}).acceptedId, "mine");
}

TEST(CommandLine, TakesTheOptionsOfTheSandbox) {
  const Options options = parsed(
      {"sandbox", "--tls", "--withdrawn", "--config-file", "c.json", "--state-dir", "s", "--port", "9"});
  EXPECT_TRUE(options.tls);
  EXPECT_TRUE(options.withdrawn);
  EXPECT_EQ(options.configFile, "c.json");
  EXPECT_EQ(options.stateDir, "s");
  EXPECT_EQ(options.port, 9);
}

TEST(CommandLine, DefaultsAreTheDocumentedOnes) {
  const Options options = parsed({"upload", "tiktok", "v.mp4"});
  EXPECT_EQ(options.patienceSeconds, 180);
  EXPECT_EQ(options.timeoutSeconds, 0);
  EXPECT_FALSE(options.platformId.has_value());
  EXPECT_FALSE(options.sandbox);
  EXPECT_FALSE(options.consentAsk);
  EXPECT_FALSE(options.json);
  EXPECT_FALSE(parsed({"verify", "vimeo"}).offline);
  EXPECT_TRUE(parsed({"verify", "vimeo", "--offline"}).offline);
}

TEST(CommandLine, SharedOptionsMayFollowTheCommand) {
  const Options options = parsed({"login", "youtube", "--sandbox", "--json", "-v", "-v"});
  EXPECT_TRUE(options.sandbox);
  EXPECT_TRUE(options.json);
  EXPECT_EQ(options.verbosity, 2);
}

TEST(CommandLine, LoginTakesItsOwnOptions) {
  const Options options =
      parsed({"--sandbox", "--consent", "ask", "login", "vimeo", "--manager", "--timeout", "9",
              "--no-browser", "--scope", "a,b", "--platform-id", "42", "--redirect-url", "http://x"});
  EXPECT_TRUE(options.consentAsk);
  EXPECT_TRUE(options.manager);
  EXPECT_EQ(options.timeoutSeconds, 9);
  EXPECT_TRUE(options.noBrowser);
  EXPECT_EQ(options.scope, "a,b");
  EXPECT_EQ(options.platformId, 42);
  EXPECT_EQ(options.redirectUrl, "http://x");
}

TEST(CommandLine, MediaCommandsTakeTheirOptions) {
  const Options options =
      parsed({"media", "flickr", "--key", "k", "--secret", "s", "--token", "a,b", "--album", "7"});
  EXPECT_EQ(options.service->name, "flickr");
  EXPECT_EQ(options.key, "k");
  EXPECT_EQ(options.secret, "s");
  EXPECT_EQ(options.token, "a,b");
  EXPECT_EQ(options.album, "7");
}

TEST(CommandLine, PathsMayStartWithASlash) {
  const Options options = parsed({"--sandbox", "download", "/media/1.jpg", "//server/share/1.jpg"});
  EXPECT_EQ(options.url, "/media/1.jpg");
  EXPECT_EQ(options.file, "//server/share/1.jpg");
  EXPECT_FALSE(options.keepErrors);
  EXPECT_TRUE(parsed({"download", "/media/1.jpg", "1.jpg", "--keep-errors"}).keepErrors);
}

TEST(CommandLine, EveryPlatformHasItsNumbers) {
  EXPECT_EQ(findPlatform("youtube")->transferPlatform, 1);
  EXPECT_EQ(findPlatform("youtube")->manager, 0);
  EXPECT_EQ(findPlatform("tiktok")->transferPlatform, 6);
  EXPECT_EQ(findPlatform("tiktok")->manager, 2);
  EXPECT_EQ(findPlatform("douyin")->transferPlatform, 7);
  EXPECT_EQ(findPlatform("douyin")->manager, 3);
  EXPECT_EQ(findPlatform("vimeo")->transferPlatform, 2);
  EXPECT_EQ(findPlatform("vimeo")->manager, 1);
  EXPECT_EQ(findPlatform("facebook")->transferPlatform, 0);
  EXPECT_EQ(findPlatform("flickr")->transferPlatform, 3);
  EXPECT_EQ(findPlatform("instagram")->transferPlatform, 4);
  EXPECT_EQ(findPlatform("twitch")->transferPlatform, 5);
  EXPECT_EQ(findPlatform("YouTube"), nullptr);
}

TEST(CommandLine, TheVersionIsNoFailure) {
  const auto parsed = parseCommandLine({"--version"});
  ASSERT_TRUE(std::holds_alternative<Help>(parsed));
  EXPECT_EQ(std::get<Help>(parsed).text, std::string("mediatransfer ") + KBL::transferVersion + "\n");
}

TEST(CommandLine, HelpIsNoFailure) {
  EXPECT_TRUE(std::holds_alternative<Help>(parseCommandLine({"--help"})));
  EXPECT_TRUE(std::holds_alternative<Help>(parseCommandLine({"login", "--help"})));
}

TEST(CommandLine, WrongUseHasItsExitCode) {
  for (const std::vector<std::string>& arguments : {std::vector<std::string>{},
                                                    {"login"},
                                                    {"login", "betamax"},
                                                    {"upload", "youtube"},
                                                    {"sandbox", "--port", "x"}}) {
    try {
      (void)parseCommandLine(arguments);
      ADD_FAILURE() << arguments.size();
    } catch (const Failure& failure) {
      EXPECT_EQ(failure.exit, Exit::wrongUse);
    }
  }
}

}  // namespace
}  // namespace host
