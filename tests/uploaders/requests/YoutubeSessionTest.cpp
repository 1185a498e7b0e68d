// How a resumable upload opens its session, and what keeps it from opening one.
#include "uploaders/requests/YoutubeUploadFixture.h"
#include <BsNet/NetKeys.h>
#include <BsNet/createInfoObject.h>
#include <ExternlMediaTransfer/ExternlMediaKeys.h>

using namespace KBL;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace {
TEST_F(YoutubeUpload, IsFixedAtConstruction) {
  EXPECT_EQ(request_->requestType(), 7);
  EXPECT_STREQ(request_->getRequestName(), "ExternlMediaAuthYoutubeUpload");
  EXPECT_NE(request_->QueryInterfaceByName("BsExternlMediaAuthRequest"), nullptr);
}

TEST_F(YoutubeUpload, TheSessionOpensWithTheVideosMetadata) {
  useFile(5);
  info_->setCharKeyConfig("upload_title", "Käse \"1\"");
  info_->setCharKeyConfig("upload_desc", "two\nlines");
  info_->setCharKeyConfig("upload_tags", "one,two");
  info_->setCharKeyConfig("upload_privacy", "private");
  info_->setCharKeyConfig("upload_category", "22");
  info_->setCharKeyConfig("upload_thumbnail_path", "/cover.png");
  replySession();
  network_.reply(200, goodAnswer);

  run();

  const SentExchange open = network_.exchanges().at(0);
  EXPECT_EQ(open.url,
            std::string(uploadUrl) + "?part=snippet,status,recordingDetails&alt=json&uploadType=resumable");
  EXPECT_EQ(open.method, httpPost);
  EXPECT_EQ(open.progress, nullptr);
  EXPECT_THAT(open.headers, ElementsAre(std::pair{"Authorization", "Bearer token-1"},
                                        std::pair{"Content-Type", "application/json"},
                                        std::pair{"X-Upload-Content-Length", "5"},
                                        std::pair{"X-Upload-Content-Type", "application/octet-stream"}));
  ASSERT_FALSE(open.body.empty());
  EXPECT_EQ(open.body.back(), '\n');
  EXPECT_EQ(open.body.find('\n'), open.body.size() - 1);
  EXPECT_THAT(open.body, testing::HasSubstr(R"("tags":"one,two")"));
  EXPECT_THAT(open.body, testing::HasSubstr(R"("privacyStatus":"private")"));
  EXPECT_THAT(open.body, testing::HasSubstr(R"("license":"youtube")"));
  EXPECT_THAT(open.body, testing::HasSubstr(R"("description":"two\nlines")"));
  EXPECT_THAT(open.body, testing::Not(testing::HasSubstr("cover.png")));
  EXPECT_THAT(open.body, testing::Not(testing::HasSubstr("22")));
}

TEST_F(YoutubeUpload, UnsetTextsAreSentEmpty) {
  useFile(1);
  replySession();
  network_.reply(200, goodAnswer);
  run();
  EXPECT_EQ(network_.exchanges().at(0).body, R"({"snippet":{"description":"","tags":"","title":""},)"
                                             R"("status":{"license":"youtube","privacyStatus":""}})"
                                             "\n");
}

TEST_F(YoutubeUpload, TheHostsPublicHeadersDoNotTravelWithTheVideo) {
  useFile(1);
  const auto pubInfo = adoptRef(createInfoObject(infoObjectPubInfo));
  auto* const writable = queryInterface<BsBaseInfoRW>(pubInfo.get(), "BsBaseInfoRW");
  writable->setCharKeyConfig(PubCharKey::prodVer, "9.9");
  request_->setPubParam(queryInterface<IBsPubInfo>(pubInfo.get(), "IBsPubInfo"));
  replySession();
  network_.reply(200, goodAnswer);
  run();
  EXPECT_EQ(network_.exchanges().at(0).header(PubCharKey::prodVer), "(none)");
  EXPECT_EQ(network_.exchanges().at(1).header(PubCharKey::prodVer), "(none)");
}

TEST_F(YoutubeUpload, ALocationInLowerCaseOpensTheSessionToo) {
  useFile(1);
  network_.reply(200, "", {{"location", sessionUri}});
  network_.reply(200, goodAnswer);
  run();
  EXPECT_EQ(network_.exchanges().at(1).url, sessionUri);
  EXPECT_EQ(text("upload_stop"), "upload_success");
}

TEST_F(YoutubeUpload, ARefusedSessionReportsItsStatusAndBodyAndIsNotRetried) {
  useFile(1);
  const ScopedRecordingLogger log;
  network_.reply(403, "no way");
  run();
  EXPECT_EQ(code(), 403);
  EXPECT_EQ(message(), "no way");
  EXPECT_THAT(network_.exchanges(), SizeIs(1));
  const auto lines = log->linesWith("resumable_uri is not exist");
  ASSERT_THAT(lines, SizeIs(1));
  EXPECT_EQ(lines[0].severity, 2);
  EXPECT_EQ(lines[0].function, "KBL::BsExternlMediaAuthYoutubeUploadFileRequest::Request");
  EXPECT_GT(lines[0].line, 0);
  EXPECT_EQ(text("upload_stop"), "(unset)");
}

TEST_F(YoutubeUpload, ASessionWithAStatusOf201AndALocationIsNone) {
  useFile(1);
  network_.reply(201, "made", {{"Location", sessionUri}});
  run();
  EXPECT_EQ(code(), 201);
  EXPECT_EQ(message(), "made");
  EXPECT_THAT(network_.exchanges(), SizeIs(1));
}

// Required as it stands: hosts hear nothing of such an end.
TEST_F(YoutubeUpload, ASessionWithoutALocationEndsWithoutAnError) {
  useFile(1);
  for (const char* const body : {"", "<html>", "\xff\xfe", "{}", goodAnswer}) {
    SCOPED_TRACE(body);
    network_.clear();
    network_.reply(200, body);
    run();
    EXPECT_EQ(code(), 0);
    EXPECT_THAT(network_.exchanges(), SizeIs(1));
    EXPECT_EQ(text("upload_stop"), "(unset)");
    EXPECT_EQ(text("upload_video_url"), "(unset)");
  }
}

TEST_F(YoutubeUpload, ARefusedSessionWhoseBodyCannotBeReadReportsItsStatusAllTheSame) {
  useFile(1);
  for (const int status : {400, 403, 500}) {
    SCOPED_TRACE(status);
    network_.clear();
    network_.reply(status, "\xff<html>");
    run();
    EXPECT_EQ(code(), status);
    EXPECT_EQ(message(), "\xff<html>");
  }
}

TEST_F(YoutubeUpload, ABrokenSessionReportsTheTransportFailure) {
  useFile(1);
  network_.failure(7, "could not connect");
  run();
  EXPECT_EQ(code(), 200007);
  EXPECT_EQ(message(), "could not connect");
  EXPECT_EQ(request_->errorInfo()->originCode(), 7);
  EXPECT_THAT(network_.exchanges(), SizeIs(1));
}

TEST_F(YoutubeUpload, WithoutATokenNothingIsSent) {
  useFile(1);
  manager_->onAccessToken = [] { return std::string(); };
  replySession();
  run();
  EXPECT_EQ(code(), 140013);
  EXPECT_EQ(message(), "access token param invalid");
  EXPECT_THAT(network_.exchanges(), IsEmpty());
}

TEST_F(YoutubeUpload, AMissingFileIsReportedWithItsPath) {
  info_->setCharKeyConfig("upload_file_path", "/no/such/Fil\xC3\xA9.mp4");
  replySession();
  run();
  EXPECT_EQ(code(), -10023);
  EXPECT_EQ(message(), "/no/such/Fil\xC3\xA9.mp4, not exist");
  EXPECT_THAT(network_.exchanges(), IsEmpty());
}

TEST_F(YoutubeUpload, AnUnsetPathIsAMissingFile) {
  replySession();
  run();
  EXPECT_EQ(code(), -10023);
  EXPECT_EQ(message(), ", not exist");
}

TEST_F(YoutubeUpload, ADirectoryCannotBeOpened) {
  const std::string path = files_.path().string();
  info_->setCharKeyConfig("upload_file_path", path.c_str());
  replySession();
  run();
  EXPECT_EQ(code(), -10024);
  EXPECT_EQ(message(), path + ", open failed");
  EXPECT_THAT(network_.exchanges(), IsEmpty());
}

TEST_F(YoutubeUpload, AnEmptyFileIsRefused) {
  useFile(0);
  replySession();
  run();
  EXPECT_EQ(code(), -10025);
  EXPECT_EQ(message(), path_ + ", empty file");
  EXPECT_THAT(network_.exchanges(), IsEmpty());
}

TEST_F(YoutubeUpload, APathOutsideAsciiIsRead) {
  contents_ = "hello";
  path_ = files_.write("ビデオ é.mp4", contents_);
  info_->setCharKeyConfig("upload_file_path", path_.c_str());
  replySession();
  network_.reply(200, goodAnswer);
  run();
  EXPECT_EQ(network_.exchanges().at(1).body, "hello");
}

TEST_F(YoutubeUpload, TheStartOfTheChunksIsLogged) {
  useFile(7);
  const ScopedRecordingLogger log;
  replySession();
  network_.reply(200, goodAnswer);
  run();
  const auto lines = log->linesWith("upload, " + path_);
  ASSERT_THAT(lines, SizeIs(1));
  EXPECT_EQ(lines[0].text, "upload, " + path_ + ", file size:7, chunk size: 2097152");
  EXPECT_EQ(lines[0].severity, 4);
  EXPECT_EQ(lines[0].function, "KBL::BsExternlMediaAuthYoutubeUploadFileRequest::Request");
  EXPECT_GT(lines[0].line, 0);
  const auto session = log->linesWith(std::string("ExternlMediaAuthYoutubeUpload:") + uploadUrl +
                                      "?part=snippet,status,recordingDetails&alt=json&uploadType=resumable");
  ASSERT_THAT(session, SizeIs(1));
  EXPECT_EQ(session[0].severity, 4);
  EXPECT_EQ(session[0].function, lines[0].function);
  EXPECT_GT(session[0].line, 0);
}

TEST_F(YoutubeUpload, NoTokenReachesTheLog) {
  useFile(1);
  manager_->onAccessToken = [] { return std::string("very-secret"); };
  const ScopedRecordingLogger log;
  replySession();
  network_.reply(401, "denied");
  run();
  EXPECT_THAT(log->linesWith("very-secret"), IsEmpty());
}

// --- The session's address

class YoutubeSession : public YoutubeUpload {
 protected:
  /// The outcome of an upload whose session is opened at `opening` and stands at `location`.
  std::string uploadTo(const std::string& opening, const std::string& location) {
    setCloudConfig({{"urlExternlMediaAuthYoutubeUpload", opening}});
    network_.clear();
    network_.reply(200, "", {{"Location", location}});
    network_.reply(200, goodAnswer);
    run();
    return std::to_string(code()) + "," + message();
  }
};

TEST_F(YoutubeSession, OpenedInSecretNeverGoesOnInTheClear) {
  useFile(1);
  for (const char* const location : {"http://127.0.0.1:9/session/1", "HTTP://127.0.0.1:9/", "/session/1", "",
                                     "https", "httpsx://127.0.0.1:9/"}) {
    for (const char* const opening : {"https://127.0.0.1:9/upload", "HttpS://127.0.0.1:9/upload"}) {
      EXPECT_EQ(uploadTo(opening, location), "-10001,url invalid") << location;
      EXPECT_THAT(network_.exchanges(), SizeIs(1)) << location;
    }
  }
  EXPECT_EQ(text("upload_stop"), "(unset)");
}

TEST_F(YoutubeSession, OpenedInSecretGoesOnInSecret) {
  useFile(1);
  for (const char* const location : {"https://127.0.0.1:9/session/1", "HTTPS://127.0.0.1:9/session/1"}) {
    EXPECT_EQ(uploadTo("https://127.0.0.1:9/upload", location), "0,") << location;
    EXPECT_THAT(network_.exchanges(), SizeIs(2)) << location;
  }
}

TEST_F(YoutubeSession, OpenedInTheClearGoesOnEitherWay) {
  useFile(1);
  for (const char* const location : {"https://127.0.0.1:9/session/1", "http://127.0.0.1:9/session/1"}) {
    EXPECT_EQ(uploadTo("http://127.0.0.1:9/upload", location), "0,") << location;
    EXPECT_THAT(network_.exchanges(), SizeIs(2)) << location;
  }
}
}  // namespace
