// A host that returns from main while a download waits for a server that never answers.
#include "boundary/ExternlMediaTransfer.h"
#include "boundary/records/DownloadRecords.h"

#include <arpa/inet.h>
#include <sys/socket.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <string>
#include <thread>

namespace {

using Clock = std::chrono::steady_clock;

/// Much less than the time after which the download would give up by itself.
constexpr std::chrono::seconds limit(15);

std::ptrdiff_t threadsBefore = 0;

std::ptrdiff_t threads() {
  return std::distance(std::filesystem::directory_iterator("/proc/self/task"), {});
}

/// Registered before the first fetch, and so run behind what the library does at exit.
void lookForTheTask() {
  const Clock::time_point end = Clock::now() + limit;
  while (threads() > threadsBefore) {
    if (Clock::now() > end) std::_Exit(3);
    std::this_thread::yield();
  }
}

/// A socket that listens on a free port of this machine, which it gives; -1 on trouble.
int listenOn(int& port) {
  const int listener = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof(address);
  auto* const plain = reinterpret_cast<sockaddr*>(&address);
  if (bind(listener, plain, size) != 0 || listen(listener, 8) != 0) return -1;
  if (getsockname(listener, plain, &size) != 0) return -1;
  port = ntohs(address.sin_port);
  return listener;
}

/// Lives as long as the process.
KBL::IExternlMediaTransfer* transfer = nullptr;

}  // namespace

int main() {
  int port = 0;
  const int listener = listenOn(port);
  if (listener < 0 || std::atexit(&lookForTheTask) != 0) return 2;
  threadsBefore = threads();
  transfer = createEMTDlTransfer();
  const std::string url = "http://127.0.0.1:" + std::to_string(port) + "/";
  const KBL::MediaErrorCallback noError = nullptr;
  const KBL::MediaProgressCallback noProgress = nullptr;
  if (transfer->Command(10, url.c_str(), "never written", noError, noProgress) != 0) return 1;
  transfer->Start();
  return accept(listener, nullptr, nullptr) < 0 ? 1 : 0;
}
