// A host with an exit handler in OpenSSL: WAY URL AUTHORITY. Tells on the standard output what happens at its
// end.
//   load          nothing has been done with the library
//   exchange      an exchange has been made
//   callback      an exchange is inside a callback of the host's, which returns when OpenSSL is gone
#include <BsNet/INetworkClient.h>
#include <BsNet/NetworkClients.h>

#include <openssl/crypto.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <thread>

namespace {

std::atomic<bool> isInside{false};
std::atomic<bool> mayReturn{false};
std::atomic<bool> hasReturned{false};

void aMoment() {
  std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

/// Waits in its first call until it may return.
class Waiting : public KBL::IBsProgressCallback {
 public:
  bool onProgress(long long, long long, long long, long long) override {
    isInside = true;
    while (!mayReturn) aMoment();
    return true;
  }
  bool onReplyStarted(int) override { return true; }
};

void exchangeWith(const std::string& url, KBL::IBsProgressCallback* progress) {
  const KBL::OwnedNetworkClient client(KBL::makeNetworkClient());
  (void)client->perform(KBL::URL::FromString(url), KBL::httpGet, nullptr, nullptr, progress, nullptr);
}

/// Registered before everything else, and so run behind it.
void returnTooLate() {
  if (!isInside) return;
  mayReturn = true;
  for (int waits = 0; waits < 300 && !hasReturned; ++waits) aMoment();
  std::puts(hasReturned ? "the exchange went on" : "the exchange was kept");
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 4 || std::atexit(&returnTooLate) != 0) return 2;
  const std::string way = arguments[1];
  const std::string url = arguments[2];
  // As any first use of OpenSSL by the host's own code would.
  if (OPENSSL_init_crypto(OPENSSL_INIT_LOAD_CRYPTO_STRINGS, nullptr) != 1) return 2;
  if (OPENSSL_atexit([] { std::puts("the host's handler"); }) != 1) return 2;
  KBL::NetSettings settings;
  settings.extraCaFile = arguments[3];
  KBL::setNetSettings(settings);
  if (way == "exchange") exchangeWith(url, nullptr);
  if (way == "callback") {
    std::thread([url] {
      Waiting waiting;
      exchangeWith(url, &waiting);
      hasReturned = true;
    }).detach();
    while (!isInside) aMoment();
  }
  return 0;
}
