// The fetcher over libcurl, and the tasks' way to it, against real servers.
#include "media_tasks/CurlMediaFetcher.h"
#include "media_tasks/ProbeTask.h"
#include "media_tasks/ReceivedBody.h"
#include "support/ManualTimeSource.h"
#include "support/PageServer.h"
#include "support/RawServer.h"

#include <curl/curl.h>
#include <gmock/gmock.h>

#include <atomic>
#include <random>
#include <stdexcept>

using testing::ElementsAre;

namespace {

struct Fetched {
  bool good;
  std::string body;
  std::string error;
};

Fetched fetch(const std::string& url, std::size_t largestBody = KBL::largestPageBytes,
              KBL::MediaFetcher& fetcher = KBL::curlMediaFetcher()) {
  ReceivedBody received;
  const KBL::FetchResult result = fetcher.fetch(url, largestBody, received);
  return {result.end == KBL::FetchResult::End::good, received.body, result.error};
}

int handlesMade = 0;

void* countHandle() {
  ++handlesMade;
  return nullptr;
}

std::string headerOf(const PageRequest& request, const std::string& name) {
  const auto found = request.headers.find(name);
  return found == request.headers.end() ? "missing" : found->second;
}

}  // namespace

TEST(Fetch, SendsAPlainGetWithTheUserAgent) {
  PageServer server;
  server.answerAlways("body");
  ASSERT_TRUE(fetch(server.url() + "/page?a=1").good);
  const PageRequest request = server.requests().at(0);
  EXPECT_EQ(request.method, "GET");
  EXPECT_EQ(request.target, "/page?a=1");
  EXPECT_EQ(headerOf(request, "User-Agent"), "Mozilla/4.0 (compatible; MSIE 8.0; Windows NT 6.1)");
  EXPECT_EQ(headerOf(request, "Accept-Encoding"), "gzip, deflate");
}

TEST(Fetch, TestsNoHttpStatus) {
  PageServer server;
  server.answerInOrder(
      {PageReply{.body = "not here", .status = 404}, PageReply{.body = "broken", .status = 500}});
  EXPECT_EQ(fetch(server.url()).body, "not here");
  const Fetched second = fetch(server.url());
  EXPECT_TRUE(second.good);
  EXPECT_EQ(second.body, "broken");
}

TEST(Fetch, FollowsARedirect) {
  PageServer server;
  server.answer([&](const std::string& target) {
    if (target == "/new") return PageReply{.body = "moved here"};
    return PageReply{.body = "go away", .status = 302, .headers = {{"Location", "/new"}}};
  });
  EXPECT_EQ(fetch(server.url() + "/old").body, "moved here");
  EXPECT_THAT(server.targets(), ElementsAre("/old", "/new"));
}

TEST(Fetch, DecodesACompressedBody) {
  PageServer server;
  server.answerAlways(std::string(100000, 'x'));
  const Fetched result = fetch(server.url());
  ASSERT_TRUE(result.good);
  EXPECT_EQ(result.body, std::string(100000, 'x'));
}

TEST(Fetch, KeepsTheBodyOfAFailedTransfer) {
  PageServer server;
  server.answerInOrder({PageReply{.body = std::string(1000, 'x'), .breakAfter = 400}});
  const Fetched result = fetch(server.url());
  EXPECT_FALSE(result.good);
  EXPECT_EQ(result.body, std::string(400, 'x'));
  EXPECT_EQ(result.error, curl_easy_strerror(CURLE_PARTIAL_FILE));
}

TEST(Fetch, StartsEveryBodyAnew) {
  PageServer server;
  server.answerInOrder({PageReply{.body = "first"}, PageReply{.body = "second"}});
  ProbeTask task;
  std::string body;
  ASSERT_TRUE(task.Fetch(server.url(), body));
  ASSERT_TRUE(task.Fetch(server.url(), body));
  EXPECT_EQ(body, "second");
}

TEST(Fetch, GivesLibcurlsTextForAnUnreachableServer) {
  std::string gone;
  {
    const PageServer server;
    gone = server.url();
  }
  const Fetched result = fetch(gone);
  EXPECT_FALSE(result.good);
  EXPECT_EQ(result.error, "Couldn't connect to server");
}

TEST(Fetch, FailsWithoutATextWhenLibcurlMakesNoHandle) {
  KBL::CurlMediaFetcher fetcher([]() -> void* { return nullptr; });
  const Fetched result = fetch("http://127.0.0.1:1/", KBL::largestPageBytes, fetcher);
  EXPECT_FALSE(result.good);
  EXPECT_EQ(result.error, "");
}

TEST(Fetch, FailsWhenLibcurlRefusesAnOption) {
  PageServer server;
  server.answerAlways("body");
  // The longest text that libcurl takes as an address.
  constexpr std::size_t longest = 8'000'000;
  const Fetched result = fetch(server.url() + "/" + std::string(longest, 'x'));
  EXPECT_FALSE(result.good);
  EXPECT_EQ(result.error, curl_easy_strerror(CURLE_BAD_FUNCTION_ARGUMENT));
  EXPECT_THAT(server.requests(), testing::IsEmpty());
}

TEST(Fetch, FailsPastItsLimit) {
  PageServer server;
  server.answerAlways(std::string(1001, 'x'), "text/html");
  const Fetched result = fetch(server.url(), 1000);
  EXPECT_FALSE(result.good);
  EXPECT_LE(result.body.size(), 1000U);
  EXPECT_EQ(result.error, curl_easy_strerror(CURLE_WRITE_ERROR));
}

TEST(Fetch, TakesABodyOfExactlyItsLimit) {
  PageServer server;
  server.answerAlways(std::string(1000, 'x'));
  const Fetched result = fetch(server.url(), 1000);
  EXPECT_TRUE(result.good);
  EXPECT_EQ(result.body.size(), 1000U);
}

TEST(Fetch, HasTheNamedLimits) {
  EXPECT_EQ(KBL::pageLimits.largestBody, 16777216U);
  EXPECT_EQ(KBL::pageLimits.longestMs, 600000);
  EXPECT_EQ(KBL::downloadLimits.largestBody, 2147483647U);
  EXPECT_EQ(KBL::downloadLimits.longestMs, 0);
}

TEST(Fetch, RefusesABodyThatIsAnnouncedTooLargeAtOnce) {
  const ScopedManualTime time;  // stands still: no fetch stalls
  PageServer server;
  server.answer([](const std::string&) {
    return PageReply{.body = "first", .stallAfter = 5, .announced = KBL::largestPageBytes + 1};
  });
  const Fetched result = fetch(server.url());
  EXPECT_FALSE(result.good);
  EXPECT_EQ(result.error, curl_easy_strerror(CURLE_WRITE_ERROR));
}

TEST(Fetch, GoesOnBehindARefusedOne) {
  PageServer server;
  server.answerInOrder({PageReply{.body = std::string(1001, 'x')}, PageReply{.body = "body"}});
  ProbeTask task;
  std::string body;
  task.setLargestBody(1000);
  EXPECT_FALSE(task.Fetch(server.url(), body));
  EXPECT_TRUE(task.Fetch(server.url(), body));
  EXPECT_EQ(body, "body");
}

TEST(Fetch, TakesWebAddressesAlone) {
  for (const char* url : {"file:///etc/hostname", "FILE:///etc/hostname", "file:/etc/hostname",
                          "ftp://127.0.0.1:1/", "ftps://127.0.0.1:1/", "dict://127.0.0.1:1/d:x",
                          "gopher://127.0.0.1:1/", "httpx://a/", "htt://a/", "://a/"}) {
    handlesMade = 0;
    KBL::CurlMediaFetcher fetcher(&countHandle);
    const Fetched result = fetch(url, KBL::largestPageBytes, fetcher);
    EXPECT_FALSE(result.good) << url;
    EXPECT_EQ(result.error, "Unsupported protocol") << url;
    EXPECT_EQ(result.body, "") << url;
    EXPECT_EQ(handlesMade, 0) << url;
  }
}

TEST(Fetch, ReadsTheSchemeWithoutRegardToCase) {
  PageServer server;
  server.answerAlways("body");
  EXPECT_TRUE(fetch("HtTp" + server.url().substr(4)).good);
}

TEST(Fetch, LeavesAnAddressWithoutASchemeToLibcurl) {
  PageServer server;
  server.answerAlways("body");
  const std::string address = server.url().substr(std::string("http://").size());
  EXPECT_EQ(fetch(address).body, "body");
  EXPECT_EQ(fetch(address + "/a:/b").body, "body");
  EXPECT_NE(fetch("127.0.0.1/a:/b").error, "Unsupported protocol");
  EXPECT_EQ(fetch("localhost" + address.substr(address.find(':')) + "/a").body, "body");
}

// libcurl follows a redirection to this protocol, and takes an address for it whose host is called so.
TEST(Fetch, SpeaksNoOtherProtocolBehindARedirection) {
  const ScopedManualTime time;
  const RawServer other([](RawConnection& connection) { connection.holdUntilClosed(); });
  PageServer server;
  server.answer([&](const std::string&) {
    return PageReply{.status = 302,
                     .headers = {{"Location", "ftp://127.0.0.1:" + std::to_string(other.port()) + "/f"}}};
  });
  const Fetched result = fetch(server.url());
  EXPECT_FALSE(result.good);
  EXPECT_EQ(result.error, "Unsupported protocol");
}

TEST(Fetch, GivesUpABodyThatUnpacksToTooMuch) {
  PageServer server;
  server.answerAlways(std::string(std::size_t{65} << 20, ' '));
  const Fetched result = fetch(server.url(), KBL::largestDownloadBytes);
  EXPECT_FALSE(result.good);
  EXPECT_EQ(result.error, curl_easy_strerror(CURLE_WRITE_ERROR));
  EXPECT_LE(result.body.size(), std::size_t{64} << 20);
}

TEST(Fetch, UnpacksWhatIsPackedLessTightly) {
  std::string body(std::size_t{65} << 20, ' ');
  std::mt19937 generator(1);
  for (std::size_t place = 0; place < body.size(); place += 64)
    body[place] = static_cast<char>('a' + generator() % 16);
  PageServer server;
  server.answerAlways(body);
  const Fetched result = fetch(server.url(), KBL::largestDownloadBytes);
  ASSERT_TRUE(result.good) << result.error;
  EXPECT_TRUE(result.body == body);
}

TEST(Fetch, StopEndsItWhileBytesFlow) {
  PageServer server;
  server.answer([](const std::string&) { return PageReply{.endless = true}; });
  std::atomic<bool> good{true};
  ProbeTask task([&](ProbeTask& self) {
    std::string body;
    good = self.Fetch(server.url(), body);
  });
  task.setLargestBody(std::size_t{1} << 40);
  task.Start(nullptr);
  ASSERT_TRUE(server.waitForRequests(1));
  task.Stop();
  EXPECT_FALSE(good);
}

TEST(Fetch, StopEndsItOnAStalledTransfer) {
  PageServer server;
  server.answer([](const std::string&) { return PageReply{.body = "stalled", .stallAfter = 3}; });
  std::atomic<bool> good{true};
  ProbeTask task([&](ProbeTask& self) {
    std::string body;
    good = self.Fetch(server.url(), body);
  });
  task.Start(nullptr);
  ASSERT_TRUE(server.waitForRequests(1));
  task.Stop();
  EXPECT_FALSE(good);
}

namespace {
/// Throws where libcurl calls.
class ThrowingListener final : public KBL::FetchListener {
 public:
  explicit ThrowingListener(bool inPiece) : inPiece_(inPiece) {}
  bool takePiece(const char*, std::size_t) override {
    if (inPiece_) throw std::runtime_error("in a piece");
    return true;
  }
  bool goesOn(const KBL::FetchBeat&) override {
    if (!inPiece_) throw std::runtime_error("in a beat");
    return true;
  }

 private:
  const bool inPiece_;
};
}  // namespace

TEST(Fetch, LetsNoExceptionThroughLibcurl) {
  PageServer server;
  server.answerAlways("body");
  ThrowingListener inPiece(true);
  const KBL::FetchResult taking = KBL::curlMediaFetcher().fetch(server.url(), 1000, inPiece);
  EXPECT_EQ(taking.end, KBL::FetchResult::End::failed);
  EXPECT_EQ(taking.error, curl_easy_strerror(CURLE_WRITE_ERROR));
  ThrowingListener inBeat(false);
  const KBL::FetchResult beating = KBL::curlMediaFetcher().fetch(server.url(), 1000, inBeat);
  EXPECT_EQ(beating.end, KBL::FetchResult::End::failed);
  EXPECT_EQ(beating.error, curl_easy_strerror(CURLE_ABORTED_BY_CALLBACK));
}

TEST(Fetch, TellsItsBeats) {
  PageServer server;
  server.answerAlways(std::string(300000, 'x'), "image/jpeg");
  ReceivedBody received;
  ASSERT_EQ(KBL::curlMediaFetcher().fetch(server.url(), 300000, received).end, KBL::FetchResult::End::good);
  EXPECT_EQ(received.beats.front().now, 0);
  EXPECT_EQ(received.beats.back().now, 300000);
  EXPECT_EQ(received.beats.back().total, 300000);
}

TEST(Fetch, EndsAtTheListenersNoOnAnyBeat) {
  PageServer server;
  server.answer([](const std::string&) { return PageReply{.body = "stalled", .stallAfter = 3}; });
  for (const double bytes : {0.0, 3.0}) {
    ReceivedBody received;
    received.isLastBeat = [&](const KBL::FetchBeat& beat) { return beat.now >= bytes; };
    const KBL::FetchResult result = KBL::curlMediaFetcher().fetch(server.url(), 1000, received);
    EXPECT_EQ(result.end, KBL::FetchResult::End::failed) << bytes;
    EXPECT_EQ(result.error, curl_easy_strerror(CURLE_ABORTED_BY_CALLBACK)) << bytes;
    EXPECT_EQ(received.body, std::string("stalled").substr(0, static_cast<std::size_t>(bytes)));
  }
  EXPECT_THAT(server.requests(), testing::SizeIs(1));
}

namespace {
/// Takes one byte less than it is given.
class PickyTask final : public KBL::SNRRequestTask {
 public:
  PickyTask() : SNRRequestTask(nullptr, KBL::pageLimits, KBL::curlMediaFetcher()) {}
  ~PickyTask() override { Stop(); }
  void Run() override {}
  std::size_t OnWrite(const char*, std::size_t size) override { return size - 1; }
  using SNRRequestTask::errorText;
  using SNRRequestTask::Fetch;
};
}  // namespace

TEST(Fetch, FailsWhereATaskTakesNotAllOfAPiece) {
  PageServer server;
  server.answerAlways("body");
  PickyTask task;
  std::string body;
  EXPECT_FALSE(task.Fetch(server.url(), body));
  EXPECT_EQ(task.errorText(), curl_easy_strerror(CURLE_WRITE_ERROR));
}
