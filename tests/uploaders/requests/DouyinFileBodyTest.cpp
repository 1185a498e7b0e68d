// Parts that the reference client reads from the file while it sends them, over real sockets.
#include "support/RawServer.h"
#include "uploaders/requests/OpenIdUploadFixture.h"

#include <mutex>

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

class DouyinFileBody : public DouyinUpload {
 protected:
  explicit DouyinFileBody()
      : server_([this](RawConnection& connection) {
          RawConnection::Request request;
          while (connection.readHead(request)) {
            const auto length = request.headers.find("content-length");
            const std::size_t size = length == request.headers.end() ? 0 : std::stoul(length->second);
            const std::string body = connection.read(size);
            if (body.size() < size) return;
            connection.reply(200, answerTo(request.line, body));
          }
        }) {
    KBL::setNetworkClientFactory({});
    KBL::setCloudConfig({{"urlExternlMediaAuthDouyinUpload", namedUrl},
                         {"urlExternlMediaAuthDouyinVideoPartInit", server_.url("/open")},
                         {"urlExternlMediaAuthDouyinVideoPartUpload", server_.url("/part")},
                         {"urlExternlMediaAuthDouyinVideoPartComplete", server_.url("/complete")}});
  }

  std::string answerTo(const std::string& line, const std::string& body) {
    const std::lock_guard lock(mutex_);
    if (line.starts_with("POST /open")) return R"({"data":{"error_code":0,"upload_id":"up-1"}})";
    if (line.starts_with("POST /complete")) {
      completion_ = body;
      return R"({"data":{"error_code":0,"share_id":"s1"}})";
    }
    parts_.push_back(body);
    return onPart_(parts_.size());
  }

  std::mutex mutex_;
  std::vector<std::string> parts_;
  std::string completion_ = "never came";
  std::function<std::string(std::size_t number)> onPart_ = [](std::size_t) { return accepted; };
  RawServer server_;
};

TEST_F(DouyinFileBody, ArrivesByteForByteAndItsLastPartOnceMore) {
  useFile(mebi4 + 3);

  run();

  EXPECT_EQ(code(), 0) << message();
  EXPECT_EQ(text("upload_stop"), "upload_success");
  ASSERT_THAT(parts_, SizeIs(2));
  EXPECT_TRUE(parts_[0] + parts_[1] == contents_);
  EXPECT_EQ(completion_, contents_.substr(mebi4));
}

TEST_F(DouyinFileBody, IsReadAgainForEveryTry) {
  useFile(1000);
  onPart_ = [](std::size_t number) {
    return number == 1 ? R"({"data":{"error_code":7,"description":"no"}})" : accepted;
  };

  run();

  EXPECT_EQ(code(), 0) << message();
  EXPECT_THAT(parts_, ElementsAre(contents_, contents_));
}

TEST_F(DouyinFileBody, OfAFileThatShrinksBetweenTriesIsLeftToTheCompletingCall) {
  useFile(1 << 20);  // more than a stream keeps
  onPart_ = [&](std::size_t) {
    std::filesystem::resize_file(std::filesystem::u8path(path_), 10);
    return R"({"data":{"error_code":7,"description":"no"}})";
  };
  const ScopedRecordingLogger log;

  run();

  EXPECT_THAT(parts_, SizeIs(1));
  EXPECT_THAT(completion_, IsEmpty());
  EXPECT_EQ(text("upload_stop"), "upload_success") << "its answer alone decides";
  EXPECT_THAT(log->linesWith(", try: "), SizeIs(1));
}

TEST_F(DouyinFileBody, IsCompletedWithoutItsLastPartWhereTheFileHasGone) {
  useFile(1 << 20);  // more than a stream keeps
  onPart_ = [&](std::size_t) {
    std::filesystem::resize_file(std::filesystem::u8path(path_), 10);
    return accepted;
  };

  run();

  EXPECT_THAT(parts_, ElementsAre(contents_));
  EXPECT_THAT(completion_, IsEmpty());
  EXPECT_EQ(code(), 0) << message();
  EXPECT_EQ(text("upload_stop"), "upload_success");
}

}  // namespace
