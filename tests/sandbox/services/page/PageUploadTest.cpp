#include "sandbox/UploadSteps.h"
#include "sandbox/services/page/PageFixture.h"
#include "support/WaitUntil.h"

#include <thread>

namespace {

using sandbox::Fault;
using sandbox::Platform;
using sandbox::Route;
using testing::HasSubstr;
using testing::Not;

class PageUpload : public PageTest {
 protected:
  /// Uploads the file to YouTube and gives the address of what is kept of it.
  std::string upload(const std::string& file) {
    const std::string target = openUpload(client, token, file.size());
    EXPECT_EQ(putChunk(client, target, token, file, 0, file.size()).status, 200);
    return "/sandbox/videos/" + server.uploads().back().uploadId;
  }
  Answer range(const std::string& address, const std::string& wanted) {
    return client.get(address, {{"Range", wanted}});
  }

  const std::string token = server.issueTokens(Platform::youtube).accessToken;
  const std::string start = std::string(
      "\0\0\0\x18"
      "ftypmp42",
      12);
};

TEST_F(PageUpload, GivesBackTheVideoThatCame) {
  const std::string file = start + someFile(100'000);
  const Answer video = client.get(upload(file));

  EXPECT_EQ(video.status, 200);
  EXPECT_EQ(video.body, file);
  EXPECT_EQ(video.header("Content-Type"), "video/mp4");
  EXPECT_EQ(video.header("Accept-Ranges"), "bytes");
  EXPECT_THAT(video.header("Content-Security-Policy"), HasSubstr("sandbox"));
  EXPECT_EQ(client.get("/sandbox/videos/nothing").status, 404);
}

TEST_F(PageUpload, NamesNoTypeThatABrowserWouldRun) {
  const Answer page = client.get(upload("<html><script>alert(1)</script>"));

  EXPECT_EQ(page.header("Content-Type"), "application/octet-stream");
  EXPECT_EQ(page.header("X-Content-Type-Options"), "nosniff");
}

TEST_F(PageUpload, GivesThePartThatAPlayerAsksFor) {
  const std::string file = someFile(1000);
  const std::string address = upload(file);

  const Answer middle = range(address, "bytes=10-19");
  EXPECT_EQ(middle.status, 206);
  EXPECT_EQ(middle.body, file.substr(10, 10));
  EXPECT_EQ(middle.header("Content-Range"), "bytes 10-19/1000");
  EXPECT_EQ(range(address, "bytes=990-").body, file.substr(990));
  EXPECT_EQ(range(address, "bytes=-7").body, file.substr(993));
  EXPECT_EQ(range(address, "bytes=-7000").body, file);
  EXPECT_EQ(range(address, "bytes=999-2000").header("Content-Range"), "bytes 999-999/1000");
  for (const char* wrong : {"bytes=1000-", "bytes=20-10", "bytes=x-", "bytes=-0", "bytes=", "lines=1-2"}) {
    const Answer refused = range(address, wrong);
    EXPECT_EQ(refused.status, 416) << wrong;
    EXPECT_EQ(refused.header("Content-Range"), "bytes */1000") << wrong;
  }
}

TEST_F(PageUpload, IsToldFromItsFirstByteToItsEnd) {
  EventConnection events(server);
  const auto fault = server.orderFault(Route::youtubeUploadChunk,
                                       Fault::slowRequest(200'000, std::chrono::milliseconds(600)));
  const std::string file = someFile(600'000);
  std::thread sending([&] { upload(file); });

  EXPECT_TRUE(events.hears("event: upload\n"));
  EXPECT_TRUE(events.hears(R"("state":"running")"));
  EXPECT_TRUE(events.hears(R"("state":"complete")"));
  sending.join();
  EXPECT_EQ(server.faultsDelivered(fault), 1U);

  EXPECT_THAT(events.heard(), HasSubstr(R"("announced":600000)"));
  EXPECT_THAT(events.heard(), HasSubstr(R"("received":600000)"));
  EXPECT_THAT(events.heard(), HasSubstr(R"("service":"youtube")"));
  EXPECT_TRUE(events.hears(R"("type":"application/octet-stream")"));
}

TEST_F(PageUpload, FormIsToldBeforeItsEndAndWhenItIsBrokenOff) {
  EventConnection events(server);
  const std::string openId = server.users()[0].openId;
  const std::string own = server.issueTokens(Platform::tiktok).accessToken;
  server.orderFault(Route::tiktokUpload, Fault::resetRequestAfter(20'000));
  const std::string form =
      "--b\r\nContent-Disposition: form-data; name=\"video\"; filename=\"a.mp4\"\r\n\r\n" + someFile(50'000) +
      "\r\n--b--\r\n";

  client.post("/tiktok/share/video/upload/?access_token=" + own + "&open_id=" + openId, form,
              {{"Content-Type", "multipart/form-data; boundary=b"}});

  EXPECT_TRUE(events.hears(R"("service":"tiktok")"));
  EXPECT_TRUE(events.hears(R"("state":"broken")"));
  EXPECT_EQ(server.faultsOutstanding(), 0U);
}

TEST(PageUploadLimit, LargerVideosAreToldOfButNotKept) {
  sandbox::SandboxOptions options;
  options.page = true;
  options.keptVideoBytes = 1000;
  sandbox::Sandbox server(options);
  TestClient client(server);
  const std::string token = server.issueTokens(Platform::youtube).accessToken;
  const std::string file = someFile(2000);
  putChunk(client, openUpload(client, token, file.size()), token, file, 0, file.size());

  EventConnection events(server);

  EXPECT_TRUE(events.hears(R"("state":"complete")"));
  EXPECT_TRUE(events.hears("\n\n"));
  EXPECT_THAT(events.heard(), Not(HasSubstr(R"("type":)")));
  EXPECT_EQ(client.get("/sandbox/videos/" + server.uploads()[0].uploadId).status, 404);
}

}  // namespace
