// A host that returns from main while a download waits for a server that never answers.
#include <ExternlMediaTransfer/DownloadRecords.h>
#include <ExternlMediaTransfer/ExternlMediaTransfer.h>
#include <ExternlMediaTransfer/TransferNumbers.h>

#include <arpa/inet.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <array>
#include <cstdlib>
#include <string>

namespace {

/// Much less than the time after which the download would give up by itself.
constexpr timeval limit{15, 0};

int connection = -1;

KBL::IExternlMediaTransfer* transfer = nullptr;

/// Registered before the first fetch, and so run behind what the library does at exit: by then, or soon, the
/// download has left libcurl, which closes its connection. What is left may still be released.
void waitForTheTask() {
  std::array<char, 4096> request{};
  ssize_t received = 0;
  do received = recv(connection, request.data(), request.size(), 0);
  while (received > 0);
  if (received < 0) std::_Exit(3);
  (void)transfer->Release();
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

}  // namespace

int main() {
  int port = 0;
  const int listener = listenOn(port);
  if (listener < 0 || std::atexit(&waitForTheTask) != 0) return 2;
  transfer = createEMTDlTransfer();
  const std::string url = "http://127.0.0.1:" + std::to_string(port) + "/";
  const KBL::MediaErrorCallback noError = nullptr;
  const KBL::MediaProgressCallback noProgress = nullptr;
  if (transfer->Command(KBL::commandDownloadFile, url.c_str(), "never written", noError, noProgress) != 0)
    return 1;
  transfer->Start();
  connection = accept(listener, nullptr, nullptr);
  return setsockopt(connection, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof(limit)) == 0 ? 0 : 1;
}
