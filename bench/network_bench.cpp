// Measures the network client: chunks of 2 MiB by PUT against one plain `curl -T`, and how long a stop takes.
#include "support/ChildProcess.h"
#include "support/RawServer.h"
#include "support/TemporaryDirectory.h"
#include <BsNet/INetworkClient.h>
#include <BsNet/NetworkClients.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t chunkBytes = 2 << 20;
constexpr int chunks = 256;
constexpr int rounds = 5;
constexpr int stops = 200;

double secondsSince(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

double megabytesPerSecond(double seconds) {
  return chunks * (chunkBytes / 1e6) / seconds;
}

/// Takes bodies as fast as they come and keeps nothing.
void drainRequests(RawConnection& connection) {
  RawConnection::Request request;
  while (connection.readHead(request)) {
    std::size_t left = std::stoull(request.headers["content-length"]);
    while (left > 0) {
      const std::size_t taken = connection.readSome().size();
      if (taken == 0) return;
      left -= std::min(taken, left);
    }
    connection.reply(200);
  }
}

double timeOfChunks(const std::string& url) {
  const KBL::OwnedNetworkClient client(KBL::makeNetworkClient());
  const std::string chunk(chunkBytes, 'c');
  const auto start = Clock::now();
  for (int i = 0; i < chunks; ++i) {
    client->setBody(chunk);
    const auto reply =
        client->perform(KBL::URL::FromString(url), KBL::httpPut, nullptr, nullptr, nullptr, nullptr);
    if (reply.httpCode != 200) std::printf("chunk failed: %s\n", reply.errorMessage.c_str());
  }
  return secondsSince(start);
}

double timeOfCurl(const std::string& url, const std::string& file, const std::string& log) {
  const auto start = Clock::now();
  ChildProcess curl({KBL_CURL, "-s", "-S", "-f", "-H", "Expect:", "-T", file, url}, log);
  if (curl.wait() != 0) std::printf("curl failed\n");
  return secondsSince(start);
}

double middleOf(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

void measureThroughput() {
  const TemporaryDirectory place;
  const std::string file = place.write("file", "");
  std::filesystem::resize_file(file, chunks * chunkBytes);
  const RawServer server(drainRequests);
  std::vector<double> ours;
  std::vector<double> plain;
  for (int round = 0; round < rounds; ++round) {
    plain.push_back(timeOfCurl(server.url(), file, place.file("log")));
    ours.push_back(timeOfChunks(server.url()));
  }
  std::printf("%d chunks of 2 MiB by PUT: %.0f MB/s; one curl -T: %.0f MB/s; ratio %.2f (middle of %d)\n",
              chunks, megabytesPerSecond(middleOf(ours)), megabytesPerSecond(middleOf(plain)),
              middleOf(plain) / middleOf(ours), rounds);
}

class StopFlag : public KBL::IBsProgressCallback {
 public:
  bool onProgress(long long, long long, long long, long long) override {
    ++asked;
    return !isSet;
  }
  bool onReplyStarted(int) override { return true; }
  std::atomic<int> asked{0};
  std::atomic<bool> isSet{false};
};

/// Milliseconds from the wish to stop to the end of an exchange that stands still.
double timeOfStop(KBL::INetworkClient& client, const std::string& url) {
  StopFlag flag;
  Clock::time_point ended;
  std::thread exchange([&] {
    (void)client.perform(KBL::URL::FromString(url), KBL::httpPut, nullptr, nullptr, &flag, nullptr);
    ended = Clock::now();
  });
  // Stand still for a moment that differs each time.
  static int run = 0;
  const int beats = 3 + run++ % 5;
  while (flag.asked < beats) std::this_thread::sleep_for(std::chrono::microseconds(700 + 137 * (run % 11)));
  const auto wished = Clock::now();
  flag.isSet = true;
  exchange.join();
  return std::chrono::duration<double, std::milli>(ended - wished).count();
}

void measureStops() {
  const RawServer server([](RawConnection& connection) {
    RawConnection::Request request;
    (void)connection.readHead(request);
    connection.holdUntilClosed();
  });
  const KBL::OwnedNetworkClient client(KBL::makeNetworkClient());
  client->setBody(std::string(16 << 20, 'b'));
  std::vector<double> times;
  for (int i = 0; i < stops; ++i) times.push_back(timeOfStop(*client, server.url()));
  std::sort(times.begin(), times.end());
  std::printf("%d stops of a stalled PUT: middle %.1f ms, 95%% %.1f ms, slowest %.1f ms\n", stops,
              times[stops / 2], times[stops * 95 / 100], times.back());
}

}  // namespace

int main() {
  measureThroughput();
  measureStops();
  return 0;
}
