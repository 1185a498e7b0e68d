// A host that returns from main while a download waits for a server that never answers.
#include "sandbox/system/Socket.h"
#include "support/Sockets.h"
#include <ExternlMediaTransfer/DownloadRecords.h>
#include <ExternlMediaTransfer/ExternlMediaTransfer.h>
#include <ExternlMediaTransfer/TransferNumbers.h>

#include <array>
#include <chrono>
#include <cstdlib>
#include <string>

namespace {

/// Much less than the time after which the download would give up by itself.
constexpr std::chrono::seconds limit{15};

sockets::Handle connection = sockets::none;

KBL::IExternlMediaTransfer* transfer = nullptr;

#if defined(_WIN32)

/// The system ends all threads ahead of what the library does there, which waits for none of them.
bool watchTheEnd() {
  return true;
}

#else

/// Registered before the first fetch, and so run behind what the library does at exit: by then, or soon, the
/// download has left libcurl, which closes its connection. What is left may still be released.
void waitForTheTask() {
  std::array<char, 4096> request{};
  std::size_t received = 0;
  sockets::Outcome outcome = sockets::Outcome::done;
  while (outcome == sockets::Outcome::done) {
    outcome = sockets::receive(connection, request.data(), request.size(), received);
  }
  if (outcome != sockets::Outcome::ended) std::_Exit(3);
  (void)transfer->Release();
}

bool watchTheEnd() {
  return std::atexit(&waitForTheTask) == 0;
}

#endif

}  // namespace

int main() {
  const sockets::Handle listener = sockets::listenOnLoopback(8);
  if (!watchTheEnd()) return 2;
  transfer = createEMTDlTransfer();
  const std::string url = "http://127.0.0.1:" + std::to_string(sandbox::socket::portOf(listener)) + "/";
  const KBL::MediaErrorCallback noError = nullptr;
  const KBL::MediaProgressCallback noProgress = nullptr;
  if (transfer->Command(KBL::commandDownloadFile, url.c_str(), "never written", noError, noProgress) != 0)
    return 1;
  transfer->Start();
  connection = sockets::accept(listener);
  if (connection == sockets::none) return 1;
  sockets::setPatience(connection, limit);
  return 0;
}
