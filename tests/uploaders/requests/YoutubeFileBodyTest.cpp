// Chunks that the reference client reads from the file while it sends them, over real sockets.
#include "support/RawServer.h"
#include "uploaders/requests/YoutubeUploadFixture.h"
#include <BsNet/NetworkClients.h>

#include <atomic>
#include <mutex>

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

class YoutubeFileBody : public YoutubeUpload {
 protected:
  using Answer = std::function<void(RawConnection&, RawConnection::Request&)>;

  /// A chunk is answered by `answer`, which finds its body unread.
  explicit YoutubeFileBody()
      : server_([this](RawConnection& connection) {
          RawConnection::Request request;
          while (connection.readHead(request)) {
            if (request.line.starts_with("PUT")) {
              answer_(connection, request);
              continue;
            }
            (void)connection.read(std::stoul(request.headers.at("content-length")));
            connection.reply(200, "", "Location: " + server_.url("/session") + "\r\n");
          }
        }) {
    KBL::setNetworkClientFactory({});
    KBL::setCloudConfig({{"urlExternlMediaAuthYoutubeUpload", server_.url("/upload")}});
  }

  /// Keeps a chunk's range and bytes and answers it.
  void take(RawConnection& connection, RawConnection::Request& request, int status,
            const std::string& content = "") {
    const std::string body = connection.read(std::stoul(request.headers.at("content-length")));
    {
      const std::lock_guard lock(mutex_);
      ranges_.push_back(request.headers.at("content-range"));
      bodies_.push_back(body);
    }
    connection.reply(status, content);
  }

  [[nodiscard]] static bool isLast(const RawConnection::Request& request) {
    const std::string& range = request.headers.at("content-range");
    const auto dash = range.find('-');
    const auto slash = range.find('/');
    return std::stoull(range.substr(dash + 1)) + 1 == std::stoull(range.substr(slash + 1));
  }

  std::atomic<int> chunks_{0};  // that have begun to come; here, since the server outlives a test's own frame
  std::mutex mutex_;
  std::vector<std::string> ranges_;
  std::vector<std::string> bodies_;
  Answer answer_ = [this](RawConnection& connection, RawConnection::Request& request) {
    take(connection, request, isLast(request) ? 200 : 308, isLast(request) ? goodAnswer : "");
  };
  RawServer server_;
};

TEST_F(YoutubeFileBody, ArrivesByteForByte) {
  useFile(2 * mebi2 + 3);

  run();

  EXPECT_EQ(code(), 0) << message();
  EXPECT_EQ(text("upload_stop"), "upload_success");
  EXPECT_THAT(ranges_, ElementsAre("bytes 0-2097151/4194307", "bytes 2097152-4194303/4194307",
                                   "bytes 4194304-4194306/4194307"));
  EXPECT_TRUE(bodies_.at(0) + bodies_.at(1) + bodies_.at(2) == contents_);
}

TEST_F(YoutubeFileBody, IsReadAgainForEveryTry) {
  useFile(mebi2 + 3);
  answer_ = [&](RawConnection& connection, RawConnection::Request& request) {
    take(connection, request, 503);
  };

  run();

  EXPECT_EQ(code(), -10007);
  ASSERT_THAT(bodies_, SizeIs(3));
  for (const std::string& body : bodies_) EXPECT_TRUE(body == contents_.substr(0, mebi2));
}

TEST_F(YoutubeFileBody, IsReadAgainWhenItsConnectionBreaks) {
  useFile(mebi2 + 3);
  const Answer good = answer_;
  answer_ = [&, good](RawConnection& connection, RawConnection::Request& request) {
    if (++chunks_ > 1) return good(connection, request);
    (void)connection.read(100000);
    connection.reset();
  };

  run();

  EXPECT_EQ(code(), 0) << message();
  ASSERT_THAT(bodies_, SizeIs(2));
  EXPECT_TRUE(bodies_[0] + bodies_[1] == contents_);
}

TEST_F(YoutubeFileBody, SecondTryThatIsTakenGoesOn) {
  useFile(mebi2 + 3);
  const Answer good = answer_;
  answer_ = [&, good](RawConnection& connection, RawConnection::Request& request) {
    if (++chunks_ == 1) return take(connection, request, 503);
    good(connection, request);
  };

  run();

  EXPECT_EQ(code(), 0) << message();
  ASSERT_THAT(bodies_, SizeIs(3));
  EXPECT_TRUE(bodies_[0] == bodies_[1]);
  EXPECT_TRUE(bodies_[1] + bodies_[2] == contents_);
}

TEST_F(YoutubeFileBody, OfAFileThatShrinksInTheMidstIsAReadErrorWithoutAnotherTry) {
  useSparseFile(16 * mebi2);
  const ScopedRecordingLogger log;
  answer_ = [&](RawConnection& connection, RawConnection::Request& request) {
    if (++chunks_ > 1) return connection.waitForClose();
    take(connection, request, 308);
  };
  int tokens = 0;
  manager_->onAccessToken = [&] {
    // Between the look at the second chunk's size and its exchange.
    if (++tokens == 3) std::filesystem::resize_file(std::filesystem::u8path(path_), mebi2 + 10);
    return std::string("token");
  };

  run();

  EXPECT_EQ(code(), -10021);
  EXPECT_EQ(message(), "read file error");
  EXPECT_EQ(text("upload_stop"), "upload_error");
  EXPECT_LE(chunks_, 2);
  EXPECT_THAT(ranges_, SizeIs(1));
  EXPECT_THAT(deliveries_.progress(), ElementsAre("5"));
  EXPECT_THAT(log->linesWith(", try: "), IsEmpty());
}

TEST_F(YoutubeFileBody, OfAFileThatShrinksBetweenTriesIsAReadError) {
  useSparseFile(16 * mebi2);
  answer_ = [&](RawConnection& connection, RawConnection::Request&) {
    if (++chunks_ > 1) return connection.waitForClose();
    (void)connection.read(mebi2);
    std::filesystem::resize_file(std::filesystem::u8path(path_), 10);
    // Part of an answer, behind which libcurl does not try again by itself.
    connection.send("HTTP/1.1 503 Later\r\nContent-Length: 10\r\n\r\npart");
    connection.interrupt();
  };

  run();

  EXPECT_EQ(code(), -10021);
  EXPECT_EQ(message(), "read file error");
}

TEST_F(YoutubeFileBody, OfAFileThatHasShrunkIsWhatIsLeft) {
  useFile(2 * mebi2);
  const Answer good = answer_;
  answer_ = [&, good](RawConnection& connection, RawConnection::Request& request) {
    if (request.headers.at("content-range").starts_with("bytes 0-")) {
      std::filesystem::resize_file(std::filesystem::u8path(path_), mebi2 + 10);
    }
    good(connection, request);
  };

  run();

  EXPECT_EQ(code(), -10021);
  EXPECT_THAT(ranges_, ElementsAre("bytes 0-2097151/4194304", "bytes 2097152-2097161/4194304"));
  EXPECT_TRUE(bodies_.at(1) == contents_.substr(mebi2, 10));
}

}  // namespace
