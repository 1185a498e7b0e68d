// What a host hears of a download when it asks beyond the records.

#include "boundary/transfers/DownloadTransferFixture.h"

#include <filesystem>

using testing::ElementsAre;
using testing::IsEmpty;
using Error = MediaHost::Error;

namespace {

class DownloadNews : public DownloadTransferTest {
 protected:
  void answer(int status, const std::string& body) {
    server.answer([=](const std::string&) { return PageReply{.body = body, .status = status}; });
  }
  void beginDownload(const std::string& url) {
    ASSERT_EQ(transfer->Command(KBL::commandDownloadFile, url.c_str(), directory.file("p").c_str(),
                                &MediaHost::onError, &MediaHost::onProgress),
              0);
    transfer->Start();
  }
  void download() { beginDownload(server.url() + "/p"); }

  KBL::IExternlMediaDownloadNews* news =
      KBL::queryInterface<KBL::IExternlMediaDownloadNews>(transfer.get(), "IExternlMediaDownloadNews");
};

}  // namespace

TEST_F(DownloadNews, AreAskedOfADownloadTransferAlone) {
  ASSERT_NE(news, nullptr);
  EXPECT_EQ(news->QueryInterfaceByName("IExternlMediaTransfer"), transfer.get());
  EXPECT_EQ(news->AddRef(), 2);
  EXPECT_EQ(transfer->Release(), 1);
  const Transfer upload = KBL::adoptRef(createEMTUpTransfer(KBL::transferYoutube));
  EXPECT_EQ(upload->QueryInterfaceByName("IExternlMediaDownloadNews"), nullptr);
}

TEST_F(DownloadNews, TellTheStatusOfAStoredFile) {
  EXPECT_EQ(news->HttpStatus(), 0);
  answer(200, "picture");
  download();
  ASSERT_TRUE(host.waitForFinish());
  EXPECT_EQ(news->HttpStatus(), 200);
}

TEST_F(DownloadNews, KnowTheStatusInsideTheLastRecord) {
  answer(404, "no such picture");
  int status = 0;
  host.onOther = [&] { status = news->HttpStatus(); };
  download();
  ASSERT_TRUE(host.waitForFinish());
  transfer->Stop();
  EXPECT_EQ(status, 404);
}

TEST_F(DownloadNews, LetAnErrorPageBeStoredAsLongAsNobodyRefusesIt) {
  answer(404, "no such picture");
  download();
  ASSERT_TRUE(host.waitForFinish());
  EXPECT_EQ(directory.read("p"), "no such picture");
  EXPECT_THAT(host.errors(), IsEmpty());
}

TEST_F(DownloadNews, ARefusedStatusLeavesTheFormerFile) {
  directory.write("p", "former");
  answer(500, "sorry");
  news->RefuseErrorStatus(true);
  download();
  ASSERT_TRUE(host.waitForErrors(1));
  transfer->Stop();
  EXPECT_THAT(host.errors(), ElementsAre(Error{KBL::MediaError::fetchFailed, "HTTP status 500"}));
  EXPECT_EQ(directory.read("p"), "former");
  EXPECT_EQ(news->HttpStatus(), 500);
}

TEST_F(DownloadNews, RefusalBeginsAt400AndAnEmptyBodyIsNoExcuse) {
  for (const auto& [status, isStored] : {std::pair{299, true}, {399, true}, {400, false}, {599, false}}) {
    std::filesystem::remove(directory.file("p"));
    answer(status, "");
    MediaHost own;
    const Transfer single = KBL::adoptRef(createEMTDlTransfer());
    single->Command(KBL::commandSetContext, static_cast<void*>(&own));
    KBL::queryInterface<KBL::IExternlMediaDownloadNews>(single.get(), "IExternlMediaDownloadNews")
        ->RefuseErrorStatus(true);
    single->Command(KBL::commandDownloadFile, (server.url() + "/p").c_str(), directory.file("p").c_str(),
                    &MediaHost::onError, &MediaHost::onProgress);
    single->Start();
    ASSERT_TRUE(isStored ? own.waitForFinish() : own.waitForErrors(1)) << status;
    single->Stop();
    EXPECT_EQ(std::filesystem::exists(directory.file("p")), isStored) << status;
  }
}

TEST_F(DownloadNews, RefusalMayComeBehindTheCommandAndBeTakenBack) {
  answer(404, "page");
  const std::string url = server.url() + "/p";
  ASSERT_EQ(transfer->Command(KBL::commandDownloadFile, url.c_str(), directory.file("p").c_str(),
                              &MediaHost::onError, &MediaHost::onProgress),
            0);
  news->RefuseErrorStatus(true);
  transfer->Start();
  ASSERT_TRUE(host.waitForErrors(1));
  news->RefuseErrorStatus(false);
  download();
  ASSERT_TRUE(host.waitForFinish());
  EXPECT_EQ(directory.read("p"), "page");
}

TEST_F(DownloadNews, TheStatusIsThatBehindARedirection) {
  server.answer([](const std::string& target) {
    if (target == "/p") return PageReply{.status = 302, .headers = {{"Location", "/moved"}}};
    return PageReply{.body = "gone", .status = 410};
  });
  news->RefuseErrorStatus(true);
  download();
  ASSERT_TRUE(host.waitForErrors(1));
  EXPECT_EQ(news->HttpStatus(), 410);
}

TEST_F(DownloadNews, AFetchWithoutAnAnswerHasNone) {
  news->RefuseErrorStatus(true);
  beginDownload("file:///etc/hostname");
  ASSERT_TRUE(host.waitForErrors(1));
  EXPECT_EQ(news->HttpStatus(), 0);
  EXPECT_NE(host.errors().front().message, "HTTP status 0");
}

TEST_F(DownloadNews, ANewCommandBeginsWithoutAStatus) {
  answer(200, "picture");
  download();
  ASSERT_TRUE(host.waitForFinish());
  ASSERT_EQ(commandAlbums(), 0);
  EXPECT_EQ(news->HttpStatus(), 0);
}

TEST_F(DownloadNews, AListGoesByTheServicesOwnErrors) {
  answer(400, R"({"error":{"code":190,"message":"token"}})");
  news->RefuseErrorStatus(true);
  ASSERT_EQ(commandAlbums(), 0);
  transfer->Start();
  ASSERT_TRUE(host.waitForErrors(1));
  EXPECT_THAT(host.errors(), ElementsAre(Error{190, "token"}));
  EXPECT_EQ(news->HttpStatus(), 400);
}
