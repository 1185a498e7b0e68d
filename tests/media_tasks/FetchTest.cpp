#include "media_tasks/CurlCalls.h"
#include "media_tasks/MediaHost.h"
#include "media_tasks/PageServer.h"
#include "media_tasks/ProbeTask.h"
#include "support/WaitUntil.h"

#include <curl/curl.h>
#include <gmock/gmock.h>

#include <atomic>
#include <stdexcept>

using testing::ElementsAre;

namespace {

struct Fetched {
  bool good;
  std::string body;
  std::string error;
};

Fetched fetch(const std::string& url) {
  ProbeTask task;
  Fetched result{};
  result.good = task.Fetch(url, result.body);
  result.error = task.errorText();
  return result;
}

std::string headerOf(const PageRequest& request, const std::string& name) {
  const auto found = request.headers.find(name);
  return found == request.headers.end() ? "missing" : found->second;
}

}  // namespace

TEST(Fetch, SetsTwelveOptionsInOrderAndNoOther) {
  PageServer server;
  server.answerAlways("body");
  ProbeTask task;
  std::vector<CurlCall> calls;
  {
    const ScopedCurlCalls recorded;
    std::string body;
    ASSERT_TRUE(task.Fetch(server.url() + "/page", body));
    calls = ScopedCurlCalls::calls();
  }
  ASSERT_EQ(calls.size(), 15U);
  EXPECT_EQ(calls.front().function, "init");
  EXPECT_EQ(calls[13].function, "perform");
  EXPECT_EQ(calls[14].function, "cleanup");

  const void* const self = static_cast<KBL::SNRRequestTask*>(&task);
  const auto expectNumber = [&](std::size_t place, int option, long value) {
    EXPECT_EQ(calls[place].option, option) << "option " << place;
    EXPECT_EQ(calls[place].number, value) << "option " << place;
  };
  const auto expectText = [&](std::size_t place, int option, const std::string& value) {
    EXPECT_EQ(calls[place].option, option) << "option " << place;
    EXPECT_EQ(calls[place].text, value) << "option " << place;
  };
  expectNumber(1, 32, 6);
  expectText(2, 10002, server.url() + "/page");
  expectNumber(3, 156, 30000);
  expectNumber(4, 52, 1);
  expectText(5, 10018, "Mozilla/4.0 (compatible; MSIE 8.0; Windows NT 6.1)");
  EXPECT_EQ(calls[6].option, 20011);
  EXPECT_NE(calls[6].pointer, nullptr);
  EXPECT_EQ(calls[7].option, 10001);
  EXPECT_EQ(calls[7].pointer, self);
  expectText(8, 10102, "gzip, deflate");
  expectNumber(9, 64, 1);
  EXPECT_EQ(calls[10].option, 20056);
  EXPECT_NE(calls[10].pointer, nullptr);
  EXPECT_EQ(calls[11].option, 10057);
  EXPECT_EQ(calls[11].pointer, self);
  expectNumber(12, 43, 0);
}

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
  ProbeTask task;
  std::string body;
  ASSERT_TRUE(task.Fetch(server.url(), body));
  EXPECT_EQ(body, std::string(100000, 'x'));
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
  const ScopedCurlCalls calls;
  ScopedCurlCalls::failInit();
  const Fetched result = fetch("http://127.0.0.1:1/");
  EXPECT_FALSE(result.good);
  EXPECT_EQ(result.error, "");
}

TEST(Fetch, FailsWhenLibcurlRefusesAnOption) {
  const ScopedCurlCalls calls;
  ScopedCurlCalls::refuseOption(CURLOPT_ACCEPT_ENCODING);
  const Fetched result = fetch("http://127.0.0.1:1/");
  EXPECT_FALSE(result.good);
  EXPECT_EQ(result.error, "Out of memory");
  for (const CurlCall& call : ScopedCurlCalls::calls()) EXPECT_NE(call.function, "perform");
}

TEST(Fetch, FailsPastItsLimit) {
  PageServer server;
  server.answerAlways(std::string(1001, 'x'), "text/html");
  ProbeTask task;
  std::string body;
  task.setLargestBody(1000);
  EXPECT_FALSE(task.Fetch(server.url(), body));
  EXPECT_LE(body.size(), 1000U);
  EXPECT_EQ(task.errorText(), curl_easy_strerror(CURLE_WRITE_ERROR));
}

TEST(Fetch, TakesABodyOfExactlyItsLimit) {
  PageServer server;
  server.answerAlways(std::string(1000, 'x'));
  ProbeTask task;
  std::string body;
  task.setLargestBody(1000);
  EXPECT_TRUE(task.Fetch(server.url(), body));
  EXPECT_EQ(body.size(), 1000U);
}

TEST(Fetch, HasTheNamedLimits) {
  EXPECT_EQ(KBL::largestPageBytes, 67108864U);
  EXPECT_EQ(KBL::largestDownloadBytes, 2147483647U);
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
class ThrowingTask final : public KBL::SNRRequestTask {
 public:
  explicit ThrowingTask(bool inWrite) : SNRRequestTask(nullptr, KBL::largestPageBytes), inWrite_(inWrite) {}
  ~ThrowingTask() override { Stop(); }
  void Run() override {}
  std::size_t OnWrite(const char* data, std::size_t size) override {
    if (inWrite_) throw std::runtime_error("in write");
    return SNRRequestTask::OnWrite(data, size);
  }
  int OnProgress(double, double, double, double) override {
    if (!inWrite_) throw std::runtime_error("in progress");
    return 0;
  }
  using SNRRequestTask::errorText;
  using SNRRequestTask::Fetch;

 private:
  const bool inWrite_;
};
}  // namespace

TEST(Fetch, LetsNoExceptionThroughLibcurl) {
  PageServer server;
  server.answerAlways("body");
  std::string body;
  ThrowingTask writing(true);
  EXPECT_FALSE(writing.Fetch(server.url(), body));
  EXPECT_EQ(writing.errorText(), curl_easy_strerror(CURLE_WRITE_ERROR));
  ThrowingTask metering(false);
  EXPECT_FALSE(metering.Fetch(server.url(), body));
  EXPECT_EQ(metering.errorText(), curl_easy_strerror(CURLE_ABORTED_BY_CALLBACK));
}
