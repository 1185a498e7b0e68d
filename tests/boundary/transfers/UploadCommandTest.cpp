// The numbered commands of the upload transfer, through the exports.
#include "boundary/transfers/UploadFixture.h"
#include "support/LastRelease.h"
#include <ExternlMediaTransfer/TransferNumbers.h>
#include <KblUtils/CastByName.h>

#include <gmock/gmock.h>

#include <cstring>

using namespace KBL;

namespace {
RefPtr<IExternlMediaTransfer> makeTransfer(int platform) {
  return adoptRef(createEMTUpTransfer(platform));
}

TEST(TransferEnvironment, SetupRefusesOnlyANullPath) {
  EXPECT_EQ(setupTransferEnv(nullptr, 0), 1);
  EXPECT_EQ(setupTransferEnv("", 0), 0);
  EXPECT_EQ(setupTransferEnv("/python/home/", 5), 0);
  EXPECT_EQ(setupTransferEnv("/other/", 0), 0);
  EXPECT_EQ(teardownTransferEnv(), 0);
  EXPECT_EQ(teardownTransferEnv(), 0);
}

TEST(UploadTransfer, ComesWithOneReferenceForEveryPlatform) {
  for (const int platform : {-1, 0, 1, 2, 3, 4, 5, 6, 7, 8, 1000}) {
    IExternlMediaTransfer* const transfer = createEMTUpTransfer(platform);
    ASSERT_NE(transfer, nullptr) << platform;
    EXPECT_EQ(transfer->AddRef(), 2);
    EXPECT_EQ(transfer->Release(), 1);
    EXPECT_EQ(transfer->Release(), 0);
  }
}

TEST(UploadTransfer, AnswersItsOneName) {
  const auto transfer = makeTransfer(1);
  EXPECT_EQ(transfer->QueryInterfaceByName("IExternlMediaTransfer"), transfer.get());
  EXPECT_EQ(transfer->QueryInterfaceByName("IDmBaseObj"), nullptr);
  EXPECT_EQ(transfer->QueryInterfaceByName("iexternlmediatransfer"), nullptr);
  EXPECT_EQ(transfer->QueryInterfaceByName(nullptr), nullptr);
}

TEST(UploadTransfer, TellsTheAttachedProtocolOfItsEnd) {
  LastRelease protocol;
  auto transfer = makeTransfer(1);
  transfer->SetProtocol(&protocol);
  EXPECT_EQ(transfer->GetProtocol(), &protocol);
  transfer.reset();
  EXPECT_EQ(protocol.calls, 1);
}

TEST(UploadTransfer, UnknownCommandsAndQueriesReturn5) {
  const auto transfer = makeTransfer(1);
  for (const int command : {-1, 3, 4, 7, 10, 11, 12, 13, 14, 16, 17, 1000}) {
    EXPECT_EQ(transfer->Command(command, nullptr, nullptr, nullptr), 5) << command;
  }
  for (const int query : {-1, 0, 1, 2, 5, 6, 8, 9, 10, 11, 12, 13, 14, 16, 1000}) {
    EXPECT_EQ(transfer->Query(query, nullptr), 5) << query;
  }
}

TEST(UploadTransfer, NullArgumentsReturn2) {
  const auto transfer = makeTransfer(1);
  char text[256] = "";
  void* const none = nullptr;
  EXPECT_EQ(transfer->Command(KBL::commandSetRecord, none), 2);
  EXPECT_EQ(transfer->Command(KBL::commandSetCallback, none), 2);
  EXPECT_EQ(transfer->Command(KBL::commandPushMessage, none), 2);
  EXPECT_EQ(transfer->Command(KBL::commandVerifyRedirectUrl, none, text), 2);
  EXPECT_EQ(transfer->Command(KBL::commandVerifyRedirectUrl, text, none), 2);
  EXPECT_EQ(transfer->Command(KBL::commandSetAccessToken, none, text), 2);
  EXPECT_EQ(transfer->Command(KBL::commandSetAccessToken, text, none), 2);
  EXPECT_EQ(transfer->Command(KBL::commandSetApp, none, text, text), 2);
  EXPECT_EQ(transfer->Command(KBL::commandSetApp, text, none, text), 2);
  EXPECT_EQ(transfer->Command(KBL::commandSetApp, text, text, none), 2);
  EXPECT_EQ(transfer->Query(KBL::queryLoginUrl, none), 2);
  EXPECT_EQ(transfer->Query(KBL::queryUserInfo, none), 2);
  EXPECT_EQ(transfer->Query(KBL::queryContext, none), 2);
}

TEST(UploadTransfer, StartBeforeARecordReturns2) {
  EXPECT_EQ(makeTransfer(1)->Start(), 2);
}

TEST(UploadTransfer, WithoutManagerAndScriptTheOperationsReturn3) {
  const auto transfer = makeTransfer(6);
  const auto job = makeUploadJob("/clip.mp4");
  hostShareRecord share{};
  const auto account = std::make_unique<hostAccountRecord>();
  char text[256] = "before";
  EXPECT_EQ(transfer->Command(KBL::commandSetRecord, job.get()), 0);
  EXPECT_EQ(transfer->Start(), 3);
  EXPECT_EQ(transfer->Stop(), 3);
  EXPECT_EQ(transfer->Command(KBL::commandPushMessage, &share), 3);
  EXPECT_EQ(transfer->Command(KBL::commandVerifyRedirectUrl, "url", text), 3);
  EXPECT_EQ(transfer->Command(KBL::commandSetAccessToken, "token", text), 3);
  EXPECT_EQ(transfer->Command(KBL::commandSetApp, "id", "secret", "url"), 3);
  EXPECT_EQ(transfer->Query(KBL::queryLoginUrl, text), 3);
  EXPECT_EQ(transfer->Query(KBL::queryLogout), 3);
  EXPECT_EQ(transfer->Query(KBL::queryUserInfo, account.get()), 3);
  EXPECT_STREQ(text, "before");
}

TEST(UploadTransfer, AnUnknownBrandIsNotTold) {
  const auto transfer = makeTransfer(1);
  EXPECT_EQ(transfer->Command(KBL::commandSetAppBrand, 7LL), 0);
  EXPECT_EQ(transfer->Command(KBL::commandSetAppBrand, 0LL), 0);
}

TEST(UploadTransfer, TheHostContextCanBeReadBackNullIncluded) {
  const auto transfer = makeTransfer(1);
  int context = 0;
  void* back = &back;
  EXPECT_EQ(transfer->Query(KBL::queryContext, &back), 0);
  EXPECT_EQ(back, nullptr);
  EXPECT_EQ(transfer->Command(KBL::commandSetContext, &context), 0);
  EXPECT_EQ(transfer->Query(KBL::queryContext, &back), 0);
  EXPECT_EQ(back, &context);
  void* const none = nullptr;
  EXPECT_EQ(transfer->Command(KBL::commandSetContext, none), 0);
  EXPECT_EQ(transfer->Query(KBL::queryContext, &back), 0);
  EXPECT_EQ(back, nullptr);
}

using UploadCommands = UploadFixture;

TEST_F(UploadCommands, CallsOfTheScriptAgeAreObsoleteWithAManager) {
  const auto transfer = makeTransfer(1);
  hostShareRecord share{};
  char text[256] = "before";
  EXPECT_EQ(transfer->Query(KBL::queryLoginUrl, text), 0);
  EXPECT_STREQ(text, "before");
  EXPECT_EQ(transfer->Command(KBL::commandPushMessage, &share), 0);
  EXPECT_EQ(transfer->Command(KBL::commandSetApp, "id", "secret", "url"), 0);
  EXPECT_EQ(transfer->Command(KBL::commandVerifyRedirectUrl, "url", text), 0);
  EXPECT_STREQ(text, "CAuthNUploadObj::VerifyRedirectURL, mark as obsolete");
  EXPECT_EQ(transfer->Command(KBL::commandSetAccessToken, "token", text), 0);
  EXPECT_STREQ(text, "CAuthNUploadObj::SetAccessToken, mark as obsolete");
}

TEST_F(UploadCommands, Query7FillsTheSignedInUser) {
  const auto transfer = makeTransfer(1);
  struct {
    hostAccountRecord record;
    char room[1024];
  } account{};
  EXPECT_EQ(transfer->Query(KBL::queryUserInfo, &account.record), 0);
  EXPECT_STREQ(account.record.userName, "Zoë");
  EXPECT_TRUE(sandbox_.token(account.record.accessToken));
  const char* const categories =
      reinterpret_cast<const char*>(&account) + offsetof(hostAccountRecord, videoCategories);
  EXPECT_STREQ(categories, "Film|Music|");
}

TEST_F(UploadCommands, Query4SignsTheUserOutOnceTheProxyStands) {
  const auto transfer = makeTransfer(1);
  const auto account = std::make_unique<char[]>(sizeof(hostAccountRecord) + 1024);
  EXPECT_EQ(transfer->Query(KBL::queryLogout), 3);
  EXPECT_EQ(transfer->Query(KBL::queryUserInfo, account.get()), 0);
  EXPECT_EQ(transfer->Query(KBL::queryLogout), 0);
  EXPECT_EQ(transfer->Query(KBL::queryLogout), 1);
  EXPECT_EQ(transfer->Query(KBL::queryUserInfo, account.get()), 1);
}

TEST_F(UploadCommands, StopBeforeAnUploadNeedsAnObject) {
  const auto transfer = makeTransfer(1);
  EXPECT_EQ(transfer->Stop(), 3);
  const auto account = std::make_unique<char[]>(sizeof(hostAccountRecord) + 1024);
  transfer->Query(KBL::queryUserInfo, account.get());
  EXPECT_EQ(transfer->Stop(), 0);
}
}  // namespace
