// What the fetcher tells libcurl, by standing before its functions: the one program of these tests that does.
#include "media_tasks/CurlCalls.h"
#include "media_tasks/CurlMediaFetcher.h"
#include "media_tasks/ReceivedBody.h"
#include "support/PageServer.h"

#include <gtest/gtest.h>

TEST(Fetch, SetsTwelveOptionsInOrderAndNoOther) {
  PageServer server;
  server.answerAlways("body");
  std::vector<CurlCall> calls;
  {
    const ScopedCurlCalls recorded;
    ReceivedBody received;
    const KBL::FetchResult result = KBL::curlMediaFetcher().fetch(server.url() + "/page", 1000, received);
    ASSERT_EQ(result.end, KBL::FetchResult::End::good);
    EXPECT_EQ(received.body, "body");
    calls = ScopedCurlCalls::calls();
  }
  ASSERT_EQ(calls.size(), 15U);
  EXPECT_EQ(calls.front().function, "init");
  EXPECT_EQ(calls[13].function, "perform");
  EXPECT_EQ(calls[14].function, "cleanup");

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
  EXPECT_NE(calls[7].pointer, nullptr);
  expectText(8, 10102, "gzip, deflate");
  expectNumber(9, 64, 1);
  EXPECT_EQ(calls[10].option, 20056);
  EXPECT_NE(calls[10].pointer, nullptr);
  EXPECT_EQ(calls[11].option, 10057);
  EXPECT_EQ(calls[11].pointer, calls[7].pointer);
  expectNumber(12, 43, 0);
}
